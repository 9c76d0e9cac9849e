import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { readdirSync } from 'node:fs';
import { join } from 'node:path';
import test from 'node:test';
import { setTimeout as delay } from 'node:timers/promises';

import { App, onLinux } from './support/command.mjs';
import { startProvider } from './support/provider.mjs';

// A sign-in's token expires soon, though not before it is validated; a refreshed token stays valid.
const provider = await startProvider(test, '--first-token-ttl', '4', '--access-token-ttl', '3600');

const asLongAsValid = ['--min-validity', '0'];
const longerThanAny = ['--min-validity', '61'];

async function withExpiredToken(t) {
    const app = await App.make(t, provider.configUrl);
    assert.equal((await app.signIn()).code, 0);
    while (!JSON.parse(await app.succeed(['status', '--json'])).expired) {
        await delay(50);
    }
    provider.requests();
    return app;
}

/// `count` processes ask at once, and get the same token by one refresh.
async function refreshOnce(app, count) {
    const started = Array.from({ length: count }, () => app.succeed(['token', ...asLongAsValid]));
    const tokens = new Set(await Promise.all(started));
    assert.equal(tokens.size, 1);
    const asked = provider.requests().filter(({ path }) => path === '/token');
    assert.deepEqual(
        asked.map(({ grant_type, ok }) => `${grant_type} ${ok}`),
        ['refresh_token true'],
    );
    return [...tokens][0];
}

test('eight processes refresh an expired token once', async (t) => {
    const app = await withExpiredToken(t);
    const token = await refreshOnce(app, 8);

    assert.match(await app.succeed(['login', ...longerThanAny]), /^Still signed in, refreshed, as demo, /);
    assert.notEqual(await app.succeed(['token']), token);
});

test('a refresh token is not sent where its successor could not be kept', onLinux, async (t) => {
    const app = await withExpiredToken(t);
    // A file size limit of 0 fails like a full disk; its signal would end the process.
    const launcher = ['/bin/sh', '-c', 'trap "" XFSZ; ulimit -f 0; exec "$@"', 'sh'];
    for (const command of ['token', 'login']) {
        const { code, stdout, stderr } = await app.run([command, ...asLongAsValid], { launcher });
        assert.deepEqual([code, stdout], [6, ''], stderr);
        assert.match(stderr, /^oidcauth: token store .*: cannot be written: /m);
    }
    assert.deepEqual(provider.requests(), []);
    await refreshOnce(app, 1);
    const left = readdirSync(app.stateFolder);
    assert.deepEqual(left.filter((name) => name.endsWith('.tmp')), []);
});

test('a process that is killed while it refreshes leaves the token to the others', onLinux, async (t) => {
    const app = await withExpiredToken(t);
    const folder = app.stateFolder;
    const lock = join(folder, readdirSync(folder).find((name) => name.endsWith('.lock')));
    const isLocked = () => spawnSync('flock', ['--nonblock', lock, 'true']).status === 1;

    provider.pause();
    t.after(() => provider.resume());
    const victim = app.start(['token', ...asLongAsValid]);
    while (!isLocked()) {
        await delay(20);
    }
    victim.kill('SIGKILL');
    assert.equal((await victim.result).code, 'SIGKILL');
    provider.resume();
    await refreshOnce(app, 7);
});

test('a provider that is away is a network error, one that refuses calls for a sign-in', async (t) => {
    const first = await startProvider(t, '--access-token-ttl', '30');
    const app = await App.make(t, first.configUrl);
    assert.equal((await app.signIn()).code, 0);
    await first.stop();
    const away = await app.run(['token']);
    assert.deepEqual([away.code, away.stdout], [5, ''], away.stderr);

    // It knows neither the first one's users nor its refresh tokens.
    const { host, port } = new URL(first.configUrl);
    assert.ok(away.stderr.startsWith(`oidcauth: ${host}: `), away.stderr);
    await startProvider(t, '--port', port);
    const refused = await app.run(['token']);
    assert.deepEqual([refused.code, refused.stdout], [3, '']);
    assert.match(refused.stderr, /response \(400\)/);
    assert.match(refused.stderr, /^oidcauth: unable to refresh token: the provider says invalid_\w+ \(.*\); run oidcauth login$/m);
    const signedIn = await app.signIn();
    assert.equal(signedIn.code, 0, signedIn.stderr);
});
