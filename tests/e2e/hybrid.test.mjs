import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { createHash } from 'node:crypto';
import { once } from 'node:events';
import { createServer } from 'node:http';
import { join } from 'node:path';
import { text } from 'node:stream/consumers';
import test from 'node:test';

import { inherited } from './support/command.mjs';
import { startProvider } from './support/provider.mjs';

const provider = await startProvider(test, '--access-token-ttl', '3600');
const signIn = join(process.env.OIDCAUTH_SOURCE_DIR, 'demo/provider/sign-in.mjs');
const clientId = 'demo-app';
const scopes = 'openid api:read';

async function run(file, args, input = '') {
    const child = spawn(file, args, { env: inherited() });
    child.stdin.end(input);
    const [[code], stdout, stderr] = await Promise.all([
        once(child, 'close'),
        text(child.stdout),
        text(child.stderr),
    ]);
    assert.equal(code, 0, stderr);
    return stdout;
}

/// Signs in without a browser and gives what the provider posts to the redirect URI.
async function authorize(t, { verifier, nonce, state }) {
    let form;
    const listener = createServer(async (request, response) => {
        form = Object.fromEntries(new URLSearchParams(await text(request)));
        response.end('signed in');
    }).listen(0, '127.0.0.1');
    t.after(() => listener.close());
    await once(listener, 'listening');
    const redirectUri = `http://127.0.0.1:${listener.address().port}/callback`;
    const configuration = await (await fetch(provider.configUrl)).json();
    const url = new URL(configuration.authorization_endpoint);
    url.search = new URLSearchParams({
        response_type: 'code id_token',
        nonce,
        state,
        code_challenge: createHash('sha256').update(verifier).digest('base64url'),
        code_challenge_method: 'S256',
        client_id: clientId,
        scope: scopes,
        redirect_uri: redirectUri,
        response_mode: 'form_post',
    });
    await run(process.execPath, [signIn, url.href]);
    assert.equal(form.state, state);
    return { redirectUri, ...form };
}

const claims = (token) => JSON.parse(Buffer.from(token.split('.')[1], 'base64url'));

test('a code is redeemed, refreshed once, and the used refresh token is refused', async (t) => {
    const own = { verifier: 'v'.repeat(86), nonce: 'n0nce', state: 'st4te' };
    const { redirectUri, code, id_token } = await authorize(t, own);
    provider.requests();

    const args = [provider.configUrl, clientId, scopes, redirectUri];
    const input = JSON.stringify({ code, id_token, ...own });
    const result = JSON.parse(await run(process.env.OIDCAUTH_HYBRID_CLIENT, args, input));

    assert.equal(result.validated, true);
    assert.equal(result.replayed, 'pointer: unable to receive access token by refresh token');
    for (const token of [result.redeemed, result.refreshed]) {
        assert.equal(token.scopes, 'api:read openid');
        assert.equal(token.expired, false);
        assert.equal(claims(token.access_token).client_id, clientId);
        assert.equal(claims(token.id_token).sub, claims(id_token).sub);
    }
    assert.notEqual(result.refreshed.access_token, result.redeemed.access_token);
    assert.notEqual(result.refreshed.refresh_token, result.redeemed.refresh_token);
    assert.deepEqual(
        provider.requests().map(({ method, path, status }) => `${method} ${path} ${status}`),
        [
            'GET /.well-known/openid-configuration 200',
            'GET /jwks 200',
            'POST /token 200',
            'POST /token 200',
            'POST /token 400',
        ],
    );
});
