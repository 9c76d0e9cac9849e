import assert from 'node:assert/strict';
import test from 'node:test';

import { secret, Service } from './support/command.mjs';
import { fakeProvider } from './support/fake.mjs';
import { listen } from './support/ports.mjs';
import { startProvider } from './support/provider.mjs';

const provider = await startProvider(test, '--access-token-ttl', '3600');

test.beforeEach(() => provider.requests());

const tokenLine = /^eyJ[\w-]+\.[\w-]+\.[\w-]+\n$/;
const claims = (token) => JSON.parse(Buffer.from(token.split('.')[1], 'base64url'));

/// The command's token requests since the last call.
const tokenRequests = () =>
    provider
        .requests()
        .filter(({ path }) => path === '/token')
        .map(({ client_id, scope }) => `${client_id} ${scope}`);

test('a token is printed and kept until what is asked for differs', async (t) => {
    const service = new Service(t, provider.configUrl);
    const both = ['--scopes', 'api:write api:read'];
    const read = await service.succeed();
    assert.match(read, tokenLine);
    assert.deepEqual(tokenRequests(), ['demo-service api:read']);

    for (const { args, asked } of [
        { args: [], asked: [] },
        { args: ['--min-validity', '58'], asked: [] },
        { args: ['--min-validity', '60'], asked: ['demo-service api:read'] },
        { args: both, asked: ['demo-service api:write api:read'] },
        { args: both, asked: [] },
        { args: ['--scopes', 'api:read'], asked: [] }, // the token with more scopes is used
        // This may be another provider, which must not see the token of the first one.
        { args: ['--config-url', `${provider.configUrl}?`], asked: ['demo-service api:read'] },
        { args: [], asked: [] },
    ]) {
        await service.succeed(args);
        assert.deepEqual(tokenRequests(), asked, `with ${args.join(' ')}`);
    }
    assert.notEqual(await service.succeed(), read);
    assert.deepEqual(provider.requests(), [], 'a stored token needs no request at all');
});

test('a client does not get the token of another', async (t) => {
    const service = new Service(t, provider.configUrl);
    const store = ['--store', service.path('store', 'token')];
    const token = await service.succeed(store);
    // This client must not request tokens for itself.
    const other = await service.run([...store, '--client-id', 'demo-app']);
    assert.deepEqual([other.code, other.stdout], [4, '']);
    assert.deepEqual(tokenRequests(), ['demo-service api:read', 'demo-app api:read']);

    assert.equal(await service.succeed(store), token, 'a refusal leaves the store alone');
    assert.deepEqual(tokenRequests(), []);
});

test('--json prints the same token, its expiry and its scopes', async (t) => {
    const service = new Service(t, provider.configUrl);
    const scopes = ['--scopes', 'api:write api:read'];
    const { access_token, expires_at, ...others } = JSON.parse(
        await service.succeed([...scopes, '--json']),
    );
    assert.deepEqual(others, { scopes: ['api:read', 'api:write'] });
    assert.match(expires_at, /^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ$/);
    const difference = Date.parse(expires_at) / 1000 - claims(access_token).exp;
    assert.ok(Math.abs(difference) <= 5, `${expires_at} is ${difference} s off`);
    assert.equal(await service.succeed(scopes), `${access_token}\n`);
});

test('the command line prevails over the environment', async (t) => {
    const service = new Service(t, 'http://127.0.0.1:1/');
    const env = {
        OIDCAUTH_CLIENT_ID: 'other',
        OIDCAUTH_SCOPES: 'other',
        OIDCAUTH_CLIENT_SECRET: undefined,
        NAMED: secret,
    };
    const args = ['--config-url', provider.configUrl, '--client-id', 'demo-service'];
    args.push('--scopes', 'api:write', '--client-secret-env', 'NAMED');
    await service.succeed(args, { env });
    assert.deepEqual(tokenRequests(), ['demo-service api:write']);
});

test('the log goes to standard error and holds no secret', async (t) => {
    const service = new Service(t, provider.configUrl);
    for (const { args, env, code, says, never = /flow: / } of [
        { args: [], code: 0, says: /^$/ },
        { args: ['-v'], code: 0, says: /^\S+ detail: /m },
        { args: ['-vv'], code: 0, says: /^\S+ flow: /m, never: /error: / },
        { args: [], code: 4, env: { OIDCAUTH_CLIENT_SECRET: `${secret}!` }, says: /401/ },
    ]) {
        const ended = await service.run([...args, '--min-validity', '60'], { env });
        assert.equal(ended.code, code);
        assert.match(ended.stdout, code === 0 ? tokenLine : /^$/);
        assert.match(ended.stderr, says);
        assert.doesNotMatch(ended.stderr, never);
        const encoded = new URLSearchParams({ secret }).toString().slice('secret='.length);
        for (const hidden of [secret, encoded, 's3cret', ...ended.stdout.trim().split('.')]) {
            assert.ok(!hidden || !ended.stderr.includes(hidden), `"${hidden}" is in the log`);
        }
    }
});

test('what no bearer token can hold is neither printed nor kept', async (t) => {
    const tokens = ['', '=', 'a b', 'a\n', 'a\nX-Admin: 1', 'a\x1b[31m', 'a\0b', 'a=b', '\u00e9', '-._~+/09azAZ=='];
    const asked = [];
    const server = fakeProvider((_, response) => {
        const [access_token] = tokens;
        asked.push(access_token);
        response.end(JSON.stringify({ access_token, token_type: 'Bearer', expires_in: 3600 }));
    });
    const service = new Service(t, `http://${await listen(t, server)}/`);
    for (; tokens.length > 1; tokens.shift()) {
        for (const args of [[], ['--json']]) {
            const { code, stdout, stderr } = await service.run(args);
            assert.deepEqual([code, stdout], [4, ''], `${JSON.stringify(tokens[0])}: ${stderr}`);
            assert.equal(asked.pop(), tokens[0]);
        }
    }
    assert.equal(await service.succeed(), `${tokens[0]}\n`);
    assert.equal(await service.succeed(), `${tokens[0]}\n`);
    assert.equal(asked.length, 1);
});
