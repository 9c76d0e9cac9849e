import assert from 'node:assert/strict';
import { once } from 'node:events';
import { chmodSync, readFileSync, writeFileSync } from 'node:fs';
import { createServer } from 'node:http';
import { text } from 'node:stream/consumers';
import test from 'node:test';

import { App, onLinux, visit } from './support/command.mjs';
import { freePort, listen } from './support/ports.mjs';
import { startProvider } from './support/provider.mjs';

const provider = await startProvider(test, '--access-token-ttl', '3600');

test.beforeEach(() => provider.requests());

const claims = (token) => JSON.parse(Buffer.from(token.split('.')[1], 'base64url'));

/// The command's token requests since the last call.
const grants = () =>
    provider
        .requests()
        .filter(({ path }) => path === '/token')
        .map(({ grant_type, ok }) => `${grant_type} ${ok}`);

test('a user who has signed in is not asked again, unless that is wanted', async (t) => {
    const app = await App.make(t, provider.configUrl);
    const { code, stdout, stderr } = await app.signIn();
    assert.equal(code, 0, stderr);
    assert.match(stdout, /^Signed in as demo, client demo-app, until \d{4}-\d\d-\d\dT[\d:]+Z\n$/);
    assert.deepEqual(grants(), ['authorization_code true']);

    provider.requests();
    const accessToken = await app.succeed(['token']);
    const idToken = await app.succeed(['id-token']);
    assert.equal(claims(accessToken).client_id, 'demo-app');
    assert.equal(claims(idToken).aud, 'demo-app');
    const { expires_at, ...json } = JSON.parse(await app.succeed(['id-token', '--json']));
    assert.deepEqual(json, { id_token: idToken.trim(), scopes: ['api:read', 'openid'] });
    assert.equal(Date.parse(expires_at) / 1000, claims(idToken).exp);
    assert.match(await app.succeed(['login']), /^Still signed in as demo, .*--force/);
    assert.deepEqual(provider.requests(), []);

    const denied = await app.signIn(['login', '--force'], '--deny');
    assert.equal(denied.code, 4, denied.stderr);
    assert.match(denied.stderr, /^oidcauth: .*cancelled/m);
    assert.equal(await app.succeed(['token']), accessToken, 'a refusal leaves the old token');

    const forced = await app.signIn(['login', '--force', '--json'], '--user', 'other');
    assert.equal(JSON.parse(forced.stdout).id_token_claims.sub, 'other', forced.stderr);
    assert.notEqual(await app.succeed(['token']), accessToken);
    for (const secret of [accessToken, idToken].flatMap((token) => token.trim().split('.'))) {
        assert.ok(![stdout, stderr, forced.stdout].join().includes(secret));
    }
});

test('only login, or --sign-in, asks the user', async (t) => {
    const app = await App.make(t, provider.configUrl);
    const browser = app.path('browser');
    writeFileSync(browser, '#!/bin/sh\necho "$1" >>"$HOME/opened"\n');
    chmodSync(browser, 0o700);
    for (const args of [['token'], ['id-token'], ['token', '--json']]) {
        const { code, stdout, stderr } = await app.run(args, { env: { BROWSER: browser } });
        assert.deepEqual(
            [code, stdout, args.includes('--json') ? `oidcauth: ${JSON.parse(stderr).error}\n` : stderr],
            [3, '', 'oidcauth: unable to get token; run oidcauth login\n'],
        );
    }
    assert.deepEqual(provider.requests(), []);
    assert.throws(() => readFileSync(app.path('opened')), { code: 'ENOENT' });

    const signedIn = await app.signIn(['token', '--sign-in']);
    assert.equal(signedIn.code, 0, signedIn.stderr);
    assert.equal(signedIn.stdout, await app.succeed(['token']));
});

test('the browser gets the page; without one the user is told and waited for', onLinux, async (t) => {
    for (const { browser, says } of [
        { browser: (app) => app.path('browser'), says: /^To sign in, .*\nhttp.*\n$/ },
        { browser: () => '/nowhere', says: /no browser could be started/ },
    ]) {
        const app = await App.make(t, provider.configUrl);
        writeFileSync(app.path('browser'), '#!/bin/sh\necho "$1" >"$HOME/opened"\n');
        chmodSync(app.path('browser'), 0o700);
        const child = app.start(['login'], { env: { BROWSER: browser(app) } });
        const [page] = await child.says.match(/^http.*$/m);
        await child.says.match(says);
        await visit(page);
        const { code, stderr } = await child.result;
        assert.equal(code, 0, stderr);
        if (browser(app) === app.path('browser')) {
            assert.equal(readFileSync(app.path('opened'), 'utf8'), `${page}\n`);
        }
    }
});

test('the first redirect URL whose port is free is taken', async (t) => {
    const [taken, other] = await Promise.all([1, 2].map(() => listen(t, createServer())));
    const free = `127.0.0.1:${await freePort()}`;
    const urls = (...hosts) => hosts.flatMap((host) => ['--redirect-url', `http://${host}/callback`]);
    const app = await App.make(t, provider.configUrl);

    const child = await app.startSignIn(['login', ...urls(taken, other, free)]);
    assert.ok(child.page.includes(encodeURIComponent(`http://${free}/callback`)), child.page);
    await visit(child.page);
    const { code, stderr } = await child.result;
    assert.equal(code, 0, stderr);

    const refused = await app.run(['login', '--force', ...urls(taken, other)]);
    assert.equal(refused.code, 1, refused.stderr);
    assert.match(refused.stderr, new RegExp(`^oidcauth: .*${other}/callback`, 'm'));
});

test('a terminal counts the seconds down, and its Ctrl-C frees the port', onLinux, async (t) => {
    const port = await freePort();
    const app = new App(t, provider.configUrl, `http://127.0.0.1:${port}/callback`);
    // Runs the command on a terminal, which merges its output streams.
    const launcher = ['/bin/sh', '-c', 'exec script --quiet --return --command "$*" /dev/null', 'sh'];
    const child = app.start(['login', '--no-browser'], { launcher, input: null });
    await child.prints.match(/\rWaiting for the sign-in in the browser: 90 s left\.\r/);
    await child.prints.match(/\rWaiting for the sign-in in the browser: 89 s left\.\r/);
    await assert.rejects(listen(t, createServer(), port), { code: 'EADDRINUSE' });

    const start = performance.now();
    child.stdin.write('\x03');
    const { code, stdout } = await child.result;
    assert.equal(code, 130);
    assert.match(stdout, /\r +\roidcauth: interrupted\r\n$/);
    assert.ok(performance.now() - start < 5000, 'far from the end of the countdown');
    await listen(t, createServer(), port);
});

test('a provider that stops in the middle is named', async (t) => {
    const stopped = await startProvider(t);
    const app = await App.make(t, stopped.configUrl);
    const child = await app.startSignIn(['login']);

    // The user signs in, and the answer arrives after the provider has gone.
    const page = new URL(child.page);
    const redirectUrl = page.searchParams.get('redirect_uri');
    const server = createServer(async (request, response) => {
        server.emit('answer', await text(request));
        response.end();
    });
    const answer = once(server, 'answer');
    page.searchParams.set('redirect_uri', `http://${await listen(t, server)}/callback`);
    await visit(page.href);
    const [body] = await answer;
    await stopped.stop();
    const headers = { 'Content-Type': 'application/x-www-form-urlencoded' };
    const { status } = await fetch(redirectUrl, { method: 'POST', headers, body });
    assert.equal(status, 200);

    const { code, stdout, stderr } = await child.result;
    assert.deepEqual([code, stdout], [5, ''], stderr);
    assert.match(stderr, new RegExp(`^oidcauth: ${new URL(stopped.configUrl).host}: `, 'm'));
    const { code: later } = await app.run(['token']);
    assert.equal(later, 3, 'nothing was stored');
});
