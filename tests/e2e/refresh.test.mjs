import assert from 'node:assert/strict';
import test from 'node:test';
import { setTimeout as delay } from 'node:timers/promises';

import { App } from './support/command.mjs';
import { startProvider } from './support/provider.mjs';

// Long enough for all the processes of a test to find a fresh token in the store.
const lifetime = 4;
const provider = await startProvider(test, '--access-token-ttl', String(lifetime));

const asLongAsValid = ['--min-validity', '0'];

async function untilExpired(app) {
    while (!JSON.parse(await app.succeed(['status', '--json'])).expired) {
        await delay(50);
    }
}

test('eight processes refresh an expired token once', async (t) => {
    const app = await App.make(t, provider.configUrl);
    assert.equal((await app.signIn()).code, 0);
    const old = await app.succeed(['token', ...asLongAsValid]);
    await untilExpired(app);
    provider.requests();

    const started = Array.from({ length: 8 }, () => app.succeed(['token', ...asLongAsValid]));
    const tokens = new Set(await Promise.all(started));
    assert.equal(tokens.size, 1);
    assert.ok(!tokens.has(old));
    const asked = provider.requests().filter(({ path }) => path === '/token');
    assert.deepEqual(
        asked.map(({ grant_type, ok }) => `${grant_type} ${ok}`),
        ['refresh_token true'],
    );

    // With a margin that no token of this provider has, each is refreshed.
    assert.match(await app.succeed(['login']), /^Still signed in, refreshed, as demo, /);
    assert.notEqual(await app.succeed(['token']), [...tokens][0]);
});

test('a provider that is away is a network error, one that refuses calls for a sign-in', async (t) => {
    const first = await startProvider(t, '--access-token-ttl', '1');
    const app = await App.make(t, first.configUrl);
    assert.equal((await app.signIn()).code, 0);
    await first.stop();
    const away = await app.run(['token']);
    assert.deepEqual([away.code, away.stdout], [5, ''], away.stderr);

    // It knows neither users nor refresh tokens of the first.
    const { host, port } = new URL(first.configUrl);
    assert.ok(away.stderr.startsWith(`oidcauth: ${host}: `), away.stderr);
    await startProvider(t, '--port', port);
    const refused = await app.run(['token']);
    assert.deepEqual([refused.code, refused.stdout], [3, '']);
    assert.match(refused.stderr, /response \(400\)/);
    assert.match(refused.stderr, /^oidcauth: unable to refresh token; run oidcauth login$/m);
    const signedIn = await app.signIn();
    assert.equal(signedIn.code, 0, signedIn.stderr);
});
