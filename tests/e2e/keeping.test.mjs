import assert from 'node:assert/strict';
import test from 'node:test';

import { App, onLinux } from './support/command.mjs';
import { startProvider } from './support/provider.mjs';

const provider = await startProvider(test, '--lasting-refresh-tokens');

const longerThanAny = ['--min-validity', '61'];

const isRefreshable = async (app) => JSON.parse(await app.succeed(['status', '--json'])).refreshable;

test('ten refreshes that bring no refresh token need one sign-in', async (t) => {
    const app = await App.make(t, provider.configUrl);
    assert.equal((await app.signIn()).code, 0);
    provider.requests();
    const tokens = new Set();
    for (let i = 0; i < 9; ++i) {
        tokens.add(await app.succeed(['token', ...longerThanAny]));
    }
    const shown = JSON.parse(await app.succeed(['login', '--json', ...longerThanAny]));
    assert.ok(shown.refreshable && (await isRefreshable(app)));
    tokens.add(await app.succeed(['token']));
    assert.equal(tokens.size, 10);
    const asked = provider.requests().filter(({ path }) => path === '/token');
    assert.deepEqual(
        asked.map(({ grant_type, ok }) => `${grant_type} ${ok}`),
        Array(10).fill('refresh_token true'),
    );
});

test('a sign-in that brings no refresh token leaves none, of the same user or another', onLinux, async (t) => {
    const first = await startProvider(t, '--lasting-refresh-tokens');
    const signedIn = async () => {
        const app = await App.make(t, first.configUrl);
        assert.equal((await app.signIn()).code, 0);
        await app.succeed(['token', ...longerThanAny]);
        assert.ok(await isRefreshable(app));
        return app;
    };
    const apps = [await signedIn(), await signedIn()];
    await first.stop();

    // The same issuer, which refuses the earlier refresh tokens and issues no others.
    const { port } = new URL(first.configUrl);
    await startProvider(t, '--port', port, '--refresh-token-ttl', '0');
    const again = async (app, user) => {
        const login = ['login', '--json', ...longerThanAny];
        const { code, stdout, stderr } = await app.signIn(login, '--user', user);
        assert.equal(code, 0, stderr);
        assert.equal(JSON.parse(stdout).id_token_claims.sub, user);
        assert.ok(!JSON.parse(stdout).refreshable && !(await isRefreshable(app)), user);
    };
    await Promise.all([again(apps[0], 'demo'), again(apps[1], 'ada')]);
});
