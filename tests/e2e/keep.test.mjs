import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { existsSync, lstatSync, mkdirSync, readdirSync, readFileSync, symlinkSync } from 'node:fs';
import { createServer } from 'node:net';
import { describe, test } from 'node:test';
import { setTimeout as delay } from 'node:timers/promises';

import { App, Command, Service } from './support/command.mjs';
import { fakeProvider } from './support/fake.mjs';
import { listen } from './support/ports.mjs';
import { startProvider } from './support/provider.mjs';

const claims = (token) => JSON.parse(Buffer.from(token.split('.')[1], 'base64url'));
const isWhole = (text) => /^eyJ[\w-]+\.[\w-]+\.[\w-]{342}$/.test(text);

/// Waits for a condition that must become true.
async function until(condition, what) {
    for (const end = Date.now() + 20_000; !condition(); await delay(10)) {
        assert.ok(Date.now() < end, `${what()} does not come`);
    }
}

/// With its own folder for the file.
function prepared(command) {
    mkdirSync(command.path('kept'));
    command.file = command.path('kept', 'token');
    command.keep = (args = [], options) =>
        command.start(['keep', command.file, ...args], { limit: 60_000, ...options });
    command.content = () => readFileSync(command.file, 'utf8');
    /// Waits until the token differs from `last`.
    command.next = async (child, last) => {
        const hasEnded = () => child.exitCode !== null;
        const isNew = () => existsSync(command.file) && command.content() !== last;
        await until(() => hasEnded() || isNew(), () => 'a token');
        assert.ok(isNew(), 'it has ended');
        return command.content();
    };
    return command;
}

/// Starts a provider that does not answer yet.
async function startPaused(t) {
    let provider;
    t.after(() => provider.resume()); // before the provider is asked to end
    provider = await startProvider(t);
    provider.pause();
    return provider;
}

const service = (t, configUrl) =>
    prepared(new Command(t, new Service(t, configUrl).environment));

async function user(t, configUrl) {
    const app = prepared(await App.make(t, configUrl));
    assert.equal((await app.signIn()).code, 0);
    return app;
}

describe('keep', { concurrency: true }, () => {
    test('readers always find a whole token that serves', async (t) => {
        const provider = await startProvider(t, '--access-token-ttl', '8');
        const app = await user(t, provider.configUrl);
        const child = app.keep();
        await app.next(child);
        const seen = new Set();
        while (seen.size < 4) {
            const token = app.content();
            assert.ok(isWhole(token), token);
            assert.ok(Date.now() < claims(token).exp * 1000, 'it has expired');
            assert.equal(lstatSync(app.file).mode & 0o777, 0o600);
            assert.equal(child.exitCode, null);
            seen.add(token);
            await delay(2);
        }
        child.kill('SIGTERM');
        assert.deepEqual(await child.result, { code: 0, stdout: '', stderr: '' });
        assert.deepEqual(readdirSync(app.path('kept')), ['token']);
        // One for each token, except that of the sign-in.
        const asked = provider.requests().filter(({ path }) => path === '/token');
        assert.ok(asked.length <= seen.size + 2, `${asked.length} requests for ${seen.size} tokens`);
    });

    test('a provider that is away is waited for, from the start on', async (t) => {
        const first = await startProvider(t, '--access-token-ttl', '4');
        const { port } = new URL(first.configUrl);
        await first.stop();
        const command = service(t, first.configUrl);
        const child = command.keep(['--service', '--output', 'header']);
        await child.says.match(/trying again in \d+ s\n(.*\n)*.*trying again in \d+ s\n/);
        assert.equal(existsSync(command.file), false);
        const second = await startProvider(t, '--access-token-ttl', '4', '--port', port);
        const header = await command.next(child);
        await second.stop();
        await child.says.match(/(.*trying again.*\n){4}/);
        assert.equal(command.content(), header);
        await startProvider(t, '--access-token-ttl', '4', '--port', port);
        const [, token] = (await command.next(child, header)).match(/^Authorization: Bearer (.*)\n$/);
        assert.ok(isWhole(token));
        child.kill('SIGINT');
        assert.equal((await child.result).code, 130);
    });

    test('where only the user can help, the last token stays until it expires', async (t) => {
        const first = await startProvider(t, '--access-token-ttl', '10');
        const { port } = new URL(first.configUrl);
        const app = await user(t, first.configUrl);
        const child = app.keep();
        let last = await app.next(child);
        await first.stop();
        // This provider does not know the first one's refresh tokens.
        const second = await startProvider(t, '--access-token-ttl', '10', '--port', port);
        await child.says.match(/unable to refresh token.*run oidcauth login.*; the last token is valid until/);
        last = app.content();
        assert.ok(Date.now() < claims(last).exp * 1000);
        await app.signIn(['login', '--force']);
        last = await app.next(child, last);
        assert.equal(JSON.parse(await app.succeed(['token', '--json', '--min-validity', '0'])).access_token, last);

        await second.stop();
        await startProvider(t, '--access-token-ttl', '10', '--port', port);
        const { code, stderr } = await child.result;
        assert.equal(code, 3, stderr);
        assert.ok(Date.now() >= claims(app.content()).exp * 1000, 'too early');
    });

    test('tokens that have expired on arrival are not requested again and again', async (t) => {
        let asked = 0;
        const server = fakeProvider((_, response) => {
            const access_token = `token-${(asked += 1)}`;
            response.end(JSON.stringify({ access_token, token_type: 'Bearer', expires_in: 0 }));
        });
        const command = service(t, `http://${await listen(t, server)}/`);
        const child = command.keep(['--service']);
        await child.says.match(/(.*have already expired when they arrive; trying again.*\n){4}/);
        assert.ok(asked <= 8, `${asked} times`);
        assert.match(command.content(), /^token-\d$/);
        child.kill();
        assert.equal((await child.result).code, 0);
    });

    test('whenever it is killed, the file is whole', async (t) => {
        const provider = await startProvider(t);
        const command = service(t, provider.configUrl);
        const begun = Date.now();
        const first = command.keep(['--service', '--min-validity', '61']);
        let last = await command.next(first);
        first.kill();
        await first.result;
        // Up to 1.5 times the duration of this one, which depends on the machine and on
        // instrumentation.
        const whole = Date.now() - begun;
        for (let part = 0, changes = 0; changes < 20; part = (part + 0.17) % 1.5) {
            const child = command.keep(['--service', '--min-validity', '61']);
            await delay(part * whole);
            child.kill('SIGKILL');
            await child.result;
            if (existsSync(command.file)) {
                assert.ok(isWhole(command.content()));
                changes += command.content() !== last;
                last = command.content();
            }
            assert.ok(readdirSync(command.path('kept')).length <= 2);
        }
        const child = command.keep(['--service', '--min-validity', '61']);
        await command.next(child, last);
        child.kill();
        await child.result;
        assert.deepEqual(readdirSync(command.path('kept')), ['token']);
    });

    for (const kind of ['path', 'abstract name']) {
        test(`tells the service manager of its state, at its ${kind}`, async (t) => {
            const provider = await startPaused(t);
            const command = service(t, provider.configUrl);
            const address = kind === 'path' ? command.path('notify') : `@${command.path('notify')}`;
            const script = `my $name = shift; $name =~ s/^\\@/\\0/;
                socket(S, AF_UNIX, SOCK_DGRAM, 0) and bind(S, pack_sockaddr_un($name)) or die;
                $| = 1; print "bound\\n"; print "<$m>" while defined recv(S, $m, 4096, 0);`;
            const manager = spawn('perl', ['-MSocket', '-e', script, address]);
            t.after(() => manager.kill());
            let told = '';
            manager.stdout.on('data', (text) => (told += text));
            const said = (pattern) => until(() => pattern.test(told), () => `${pattern} in ${told}`);
            await said(/^bound\n$/);
            const child = command.keep(['--service'], { env: { NOTIFY_SOCKET: address } });
            await delay(300); // for an event that must not come
            assert.equal(told, 'bound\n');
            provider.resume();
            await said(/<READY=1\nSTATUS=.* is valid until 2.*Z>$/);
            assert.ok(isWhole(command.content()));
            child.kill();
            assert.equal((await child.result).code, 0);
            await said(/>\s*<STOPPING=1>$/);
        });
    }

    test('a request does not hold up the end', async (t) => {
        const server = createServer(); // accepts connections and never answers
        const url = `http://${await listen(t, server)}`;
        const command = service(t, url);
        const byIssuer = { OIDCAUTH_CONFIG_URL: undefined, OIDCAUTH_ISSUER: url };
        for (const [signal, code, env] of [['SIGTERM', 0], ['SIGINT', 130], ['SIGTERM', 0, byIssuer]]) {
            const asked = once(server, 'connection');
            const child = command.keep(['--service'], { env, limit: 10_000 });
            await asked;
            child.kill(signal);
            assert.equal((await child.result).code, code);
        }
    });

    test('what is no file is not replaced', async (t) => {
        const provider = await startProvider(t);
        const command = service(t, provider.configUrl);
        symlinkSync('/dev/null', command.path('link'));
        for (const [file, code] of [
            ['/dev/null', 2],
            [command.path('link'), 2],
            [command.home, 2],
            [`${command.home}/`, 2],
            [command.path('missing', 'token'), 1],
        ]) {
            const ended = await command.run(['keep', file, '--service']);
            assert.equal(ended.code, code, `${file}: ${ended.stderr}`);
            assert.match(ended.stderr, code === 2 ? / is not a regular file$/m : /the folder cannot be opened: /);
        }
        assert.deepEqual(provider.requests(), []);
    });
});
