import assert from 'node:assert/strict';
import { copyFileSync, existsSync, readFileSync, readdirSync, renameSync, writeFileSync } from 'node:fs';
import { createServer } from 'node:http';
import { hostname, userInfo } from 'node:os';
import { join } from 'node:path';
import test from 'node:test';
import { setTimeout as delay } from 'node:timers/promises';

import { App, isWindows, visit } from './support/command.mjs';
import { freePort, listen } from './support/ports.mjs';
import { startProvider } from './support/provider.mjs';

const provider = await startProvider(test);

/// The command's message for a user whom it does not ask.
const paused = /^oidcauth: nobody has answered .* before \d{4}-\d\d-\d\dT[\d:]+Z; run oidcauth login$/m;

/// Before it handles the signal it would simply be ended by it.
async function interrupt(child) {
    const caught = () => readFileSync(`/proc/${child.pid}/status`, 'utf8').match(/^SigCgt:\s*(\w+)/m)[1];
    while (!(BigInt(`0x${caught()}`) & 2n)) {
        await delay(5);
    }
    child.kill('SIGINT');
}

async function interrupted(child) {
    await interrupt(child);
    const { code, stderr } = await child.result;
    assert.equal(code, 130, stderr);
    return stderr;
}

test('what else the user wants of the provider stands behind the parameters of the flow', async (t) => {
    const app = await App.make(t, provider.configUrl);
    const options = ['--login-hint', 'zoë & "co"', '--prompt', 'login consent'];
    for (const parameter of ['max_age=0', 'resource=urn:a', 'resource=urn:b', 'x=a=b ,[1]', 'empty=']) {
        options.push('--authorization-parameter', parameter);
    }
    for (const command of [['login'], ['token', '--sign-in'], ['id-token', '--sign-in']]) {
        const child = await app.startSignIn([...command, ...options]);
        const parameters = [...new URL(child.page).searchParams];
        assert.equal(parameters[8][0], 'response_mode');
        assert.deepEqual(parameters.slice(9), [
            ['login_hint', 'zoë & "co"'],
            ['prompt', 'login consent'],
            ['max_age', '0'],
            ['resource', 'urn:a'],
            ['resource', 'urn:b'],
            ['x', 'a=b ,[1]'],
            ['empty', ''],
        ]);
        await interrupted(child);
    }
    const { code, stderr } = await app.signIn(['login', '--prompt', 'none']);
    assert.equal(code, 4, stderr);
    assert.match(stderr, /the provider says login_required/);
});

const user = userInfo().username;
const ssh = (address) => ({ SSH_CONNECTION: `198.51.100.1 50000 ${address}` });

for (const { what, env, host = '127.0.0.1', browser = '/bin/true', line } of [
    { what: 'by ssh', env: ssh('192.0.2.7 22'), line: 'ssh -L PORT:127.0.0.1:PORT USER@192.0.2.7' },
    {
        what: 'by ssh at another port and address',
        env: ssh('2001:db8::7 2222'),
        host: 'localhost',
        line: 'ssh -L PORT:localhost:PORT -p 2222 USER@2001:db8::7',
    },
    {
        what: 'by ssh at an address of its own network only',
        env: ssh('fe80::1%eth0 22'),
        host: '[::1]',
        line: "ssh -L 'PORT:[::1]:PORT' USER@HOST",
    },
    { what: 'by ssh, it seems', env: ssh("'$(id)' 22"), line: 'ssh -L PORT:127.0.0.1:PORT USER@HOST' },
    { what: 'by the terminal of ssh', env: { SSH_TTY: '/dev/pts/1' }, line: 'ssh -L PORT:127.0.0.1:PORT USER@HOST' },
    { what: 'without a browser', browser: '/nowhere', line: 'ssh -L PORT:127.0.0.1:PORT USER@HOST' },
    { what: 'with a browser' },
    { what: 'by ssh and another address than a loopback one', env: ssh('192.0.2.7 22'), host: '127.0.0.2' },
]) {
    const skip = isWindows && browser === '/nowhere'; // Wine finds one by itself
    test(`the way through ssh is shown where it is of use: ${what}`, { skip }, async (t) => {
        const taken = await listen(t, createServer());
        const port = await freePort();
        const urls = `http://${taken}/callback http://${host}:${port}/callback`;
        const app = new App(t, provider.configUrl, urls);
        const child = app.start(['login'], { env: { BROWSER: browser, ...env } });
        await child.says.match(/^http.*$/m);
        const expected = line
            ?.replaceAll('PORT', port)
            .replace('USER', user)
            .replace('HOST', hostname());
        const stderr = await interrupted(child);
        assert.equal(stderr.match(/^ssh .*$/m)?.[0], expected, stderr);
    });
}

// A sanitizer's runtime would have to be loaded before it.
const isSanitized = Object.keys(process.env).some((name) => /^[A-Z]+SAN_OPTIONS$/.test(name));
const clocks = readdirSync('/usr/lib')
    .map((name) => join('/usr/lib', name, 'faketime/libfaketimeMT.so.1'))
    .filter(existsSync);
const skip = (isSanitized || (!process.env.CI && !clocks.length)) && 'time cannot be moved here';
/// Environment variables for another time: an offset such as `+90s`, or a file with an offset that
/// can change.
const atTime = (offset) => ({ LD_PRELOAD: clocks[0], FAKETIME_NO_CACHE: '1', ...offset });

async function assertPaused(app, env) {
    provider.requests();
    const { code, stdout, stderr } = await app.run(['token', '--sign-in'], { env });
    assert.deepEqual([code, stdout], [3, ''], stderr);
    assert.match(stderr, paused);
    assert.deepEqual(provider.requests(), []);
}

async function assertAsks(app, args = ['token', '--sign-in'], env = {}) {
    await interrupted(await app.startSignIn(args, { env }));
}

for (const { what, end, pauses } of [
    { what: 'was killed', end: (child) => child.kill('SIGKILL'), pauses: true },
    { what: 'was terminated', end: (child) => child.kill('SIGTERM'), pauses: true },
    { what: 'the user has ended', end: interrupt, pauses: false },
    { what: 'the user has refused', end: (child) => visit(child.page, '--deny'), pauses: false },
    { what: 'the user has finished', end: (child) => visit(child.page), pauses: false },
]) {
    test(`whether a page opens unasked after a sign-in that ${what}`, async (t) => {
        const app = await App.make(t, provider.configUrl);
        const child = await app.startSignIn(['token', '--sign-in']);
        await end(child);
        await child.result;
        if (!pauses) {
            // For a scope that no stored token has.
            await assertAsks(app, ['token', '--sign-in', '--scopes', 'openid api:write']);
            return;
        }
        await assertPaused(app);
        assert.match((await app.run(['token'])).stderr, /^oidcauth: unable to get token; run/);
        await app.succeed(['logout']);
        await assertAsks(app);
    });
}

test('a page that nobody answers in time keeps others away, for five minutes', { skip }, async (t) => {
    const app = await App.make(t, provider.configUrl);
    const clock = app.path('clock');
    const setClock = (offset) => {
        writeFileSync(`${clock}.new`, offset);
        renameSync(`${clock}.new`, clock);
    };
    setClock('+0');
    const child = await app.startSignIn(['login'], { env: atTime({ FAKETIME_TIMESTAMP_FILE: clock }) });
    // Several times, because the start of the 90 s is not known.
    for (let passed = 91; !(await Promise.race([child.result, delay(20)])); passed += 91) {
        setClock(`+${passed}s`);
    }
    const { code, stderr } = await child.result;
    assert.equal(code, 3, stderr);
    assert.match(stderr, /nobody has signed in/);

    await assertPaused(app, atTime({ FAKETIME: '+380s' }));
    await assertAsks(app, ['login']);
    for (const offset of ['+390s', '-10s']) { // the latter as if the clock had been set back
        const another = await app.startSignIn(['token', '--sign-in']);
        another.kill('SIGKILL');
        await another.result;
        await assertAsks(app, ['token', '--sign-in'], atTime({ FAKETIME: offset }));
    }
});

test('who asked at the same time opens no second page', async (t) => {
    const slow = await startProvider(t);
    const [app, first] = await Promise.all([1, 2].map(() => App.make(t, slow.configUrl)));
    const store = (user) => ['token', '--sign-in', '--store', user.path('store', 'token')];
    const one = await first.startSignIn(store(first));
    one.kill('SIGKILL');

    slow.pause();
    const child = app.start([...store(app), '--no-browser']);
    while (!existsSync(app.path('store', 'token.lock'))) {
        await delay(10);
    }
    copyFileSync(first.path('store', 'token.sign-in'), app.path('store', 'token.sign-in'));
    slow.resume();
    const { code, stderr } = await child.result;
    assert.equal(code, 3, stderr);
    assert.match(stderr, paused);
    assert.doesNotMatch(stderr, /^http/m);
});
