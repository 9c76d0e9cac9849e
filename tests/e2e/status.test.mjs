import assert from 'node:assert/strict';
import { existsSync, readFileSync, writeFileSync } from 'node:fs';
import test from 'node:test';

import { App, Command, Service } from './support/command.mjs';
import { startProvider } from './support/provider.mjs';

const provider = await startProvider(test, '--access-token-ttl', '3600');

const claims = (token) => JSON.parse(Buffer.from(token.split('.')[1], 'base64url'));

/// Text that could be a token, or a part of one.
const longWords = (text) => text.match(/[\w-]{24,}/g) ?? [];

test('status tells what is stored and no secret; logout removes it', async (t) => {
    const app = await App.make(t, provider.configUrl);
    const store = ['--store', app.path('s', 't')];
    const nothing = { code: 3, stdout: '', stderr: 'oidcauth: no token is stored; run oidcauth login\n' };
    assert.deepEqual(await app.run(['status', ...store]), nothing);
    assert.equal((await app.signIn(['login', ...store])).code, 0);
    const accessToken = claims(await app.succeed(['token', ...store]));
    const idToken = claims(await app.succeed(['id-token', ...store]));
    provider.requests();

    const options = { env: { OIDCAUTH_CONFIG_URL: undefined, OIDCAUTH_CLIENT_ID: undefined } };
    const shown = await app.succeed(['status', ...store], options);
    const { expires_at, ...json } = JSON.parse(
        await app.succeed(['status', '--json', ...store], options),
    );
    assert.deepEqual(json, {
        client_id: 'demo-app',
        scopes: ['api:read', 'openid'],
        expired: false,
        refreshable: true,
        store: app.path('s', 't'),
        id_token_claims: idToken,
        access_token_claims: accessToken,
    });
    assert.match(shown, new RegExp(`^access token +valid until ${expires_at}$`, 'm'));
    assert.match(shown, /^refresh token +kept$/m);
    const allowed = Object.values({ ...accessToken, ...idToken });
    assert.deepEqual(
        longWords(shown).filter((word) => !allowed.includes(word)),
        [],
    );

    assert.match(await app.succeed(['logout', ...store]), /removed/);
    assert.match(await app.succeed(['logout', ...store]), /^No token/);
    assert.ok(!existsSync(app.path('s', 't')));
    assert.deepEqual(await app.run(['status', ...store]), nothing);
    assert.equal((await app.run(['token', ...store])).code, 3);
    assert.deepEqual(provider.requests(), []);
});

test("a service's token is shown as well; a damaged one is not, but removed", async (t) => {
    const service = new Service(t, provider.configUrl);
    const store = ['--store', service.path('s', 't')];
    const token = claims(await service.succeed(store));
    const command = new Command(t, service.environment);
    const json = JSON.parse(await command.succeed(['status', '--json', ...store]));
    assert.deepEqual(json.access_token_claims, token);
    assert.deepEqual([json.client_id, json.id_token_claims], ['demo-service', null]);

    writeFileSync(service.path('s', 't'), readFileSync(service.path('s', 't')).subarray(1));
    const { code, stdout, stderr } = await command.run(['status', ...store]);
    assert.deepEqual([code, stdout], [6, ''], stderr);
    assert.match(await command.succeed(['logout', ...store]), /removed/);
    assert.equal((await command.run(['status', ...store])).code, 3);
});
