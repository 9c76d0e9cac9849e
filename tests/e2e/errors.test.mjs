import assert from 'node:assert/strict';
import { cpSync } from 'node:fs';
import { createServer } from 'node:http';
import { buffer } from 'node:stream/consumers';
import test from 'node:test';

import { App, secret, Service, visit } from './support/command.mjs';
import { listen } from './support/ports.mjs';
import { startProvider } from './support/provider.mjs';

const provider = await startProvider(test, '--access-token-ttl', '3600');

/// Only the last line has the provider's texts.
function saysAtLast({ code, stdout, stderr }, expected) {
    const lines = stderr.trimEnd().split('\n');
    assert.deepEqual([lines.at(-1), stdout], [`oidcauth: ${expected}`, '']);
    const [, error] = expected.match(/the provider says (\w+)/);
    assert.ok(!lines.slice(0, -1).join().includes(error), stderr);
    return code;
}

for (const { what, env, says } of [
    {
        what: 'a wrong secret',
        env: { OIDCAUTH_CLIENT_SECRET: `${secret}!` },
        says: 'invalid_client (client authentication failed)',
    },
    {
        what: 'an unknown client',
        env: { OIDCAUTH_CLIENT_ID: 'unknown' },
        says: 'invalid_client (client authentication failed)',
    },
    {
        what: 'a scope that is not for it', // the provider ignores unknown scopes silently
        env: { OIDCAUTH_SCOPES: 'openid' },
        says: 'invalid_scope (requested scope is not allowed)',
    },
]) {
    test(`a service is told what the provider says of ${what}`, async (t) => {
        const ended = await new Service(t, provider.configUrl).run([], { env });
        assert.equal(saysAtLast(ended, `unable to retrieve token: the provider says ${says}`), 4);
    });
}

test('a user is told why the sign-in was ended', async (t) => {
    const app = await App.make(t, provider.configUrl);
    const noCode = 'no code in auth code response: the provider says';
    const denied = await app.signIn(['login'], '--deny');
    assert.equal(saysAtLast(denied, `${noCode} access_denied (the user cancelled)`), 4);
    const openIdNeeded = 'openid scope must be requested for this response_type';
    const scopeless = await app.signIn(['login', '--scopes', 'api:read']);
    assert.equal(saysAtLast(scopeless, `${noCode} invalid_request (${openIdNeeded})`), 4);
});

test('a user is told of a code that was used twice', async (t) => {
    // A proxy between the two that sends the code a second time.
    const proxy = createServer(async (request, response) => {
        const { method, headers } = request;
        const body = method === 'POST' ? await buffer(request) : undefined;
        const type = headers['content-type'];
        const url = new URL(request.url, `http://${headers.host}`); // Wine only requests the path
        const send = () =>
            fetch(url, { method, body, headers: type ? { 'Content-Type': type } : {} });
        let answer = await send();
        if (body?.includes('authorization_code')) {
            assert.equal(answer.status, 200);
            answer = await send();
        }
        response.writeHead(answer.status, { 'Content-Type': 'application/json' });
        response.end(Buffer.from(await answer.arrayBuffer()));
    });
    const env = { http_proxy: `http://${await listen(t, proxy)}` };
    const app = await App.make(t, provider.configUrl);
    const child = await app.startSignIn(['login'], { env });
    await visit(child.page);
    const says = 'the provider says invalid_grant (grant request is invalid)';
    const text = `unable to receive access token by auth code: ${says}`;
    assert.equal(saysAtLast(await child.result, text), 4);
});

test('a user is told of a refresh token that was used before', async (t) => {
    const app = await App.make(t, provider.configUrl);
    const [store, copy] = [app.stateFolder, app.path('copy')];
    const refreshing = ['token', '--min-validity', '61'];
    assert.equal((await app.signIn()).code, 0);
    cpSync(store, copy, { recursive: true });
    await app.succeed(refreshing);
    cpSync(copy, store, { recursive: true, force: true });
    const says = 'the provider says invalid_grant (grant request is invalid)';
    const text = `unable to refresh token: ${says}; run oidcauth login`;
    assert.equal(saysAtLast(await app.run(refreshing), text), 3);
});

test('a user is told which claim of a token was missing or wrong', async (t) => {
    const configuration = await (await fetch(provider.configUrl)).json();
    const amended = createServer((_, response) => {
        response.writeHead(200, { 'Content-Type': 'application/json' });
        response.end(JSON.stringify({ ...configuration, issuer: `${configuration.issuer}/` }));
    });
    const app = await App.make(t, `http://${await listen(t, amended)}/`);
    const { code, stderr } = await app.signIn();
    const says = /^oidcauth: auth code response validation failed: iss is missing or wrong; the token has (.*)\n$/m;
    const [, claims] = stderr.match(says);
    assert.deepEqual([code, claims.split(', ').includes('aud')], [4, true]);
    assert.ok(!stderr.includes(`"${configuration.issuer}"`), stderr);
});
