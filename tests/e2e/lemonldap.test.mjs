import assert from 'node:assert/strict';
import test from 'node:test';

import { App, Command, secret, Service } from './support/command.mjs';
import { lacking, startLemonldap } from './support/lemonldap.mjs';

const skip = lacking();
const { issuer, redirectUrl } = skip ? {} : await startLemonldap(test);
const configUrl = `${issuer}.well-known/openid-configuration`;

test('a provider of another make has what is needed', { skip }, async (t) => {
    const args = ['provider', '--issuer', issuer, '--json'];
    const { checks } = JSON.parse(await new Command(t, {}).succeed(args));
    const lacks = checks.filter(({ result }) => result !== 'ok').map(({ check }) => check);
    assert.deepEqual(lacks, ['token_endpoint_auth_methods_supported']); // does not list public clients
});

test('a user signs in and refreshes there', { skip }, async (t) => {
    const app = new App(t, configUrl, redirectUrl);
    const { code, stdout, stderr } = await app.signIn(['login'], '--user', 'dwho', '--password', 'dwho');
    assert.equal(code, 0, stderr);
    assert.match(stdout, /^Signed in as dwho, client demo-app, until /);
    // Its tokens live for an hour. Its refreshes bring no refresh token: the second one uses the
    // first one's.
    const tokens = new Set([await app.succeed(['token'])]);
    for (const minutes of ['61', '61', '0']) {
        tokens.add(await app.succeed(['token', '--min-validity', minutes]));
    }
    assert.equal(tokens.size, 3);
});

for (const { given, says } of [
    { given: secret },
    { given: `${secret}!`, says: /the provider says invalid_client/ },
]) {
    test(`a service is ${says ? 'refused' : 'given a token'} there`, { skip }, async (t) => {
        const service = new Service(t, configUrl);
        const env = { OIDCAUTH_CLIENT_SECRET: given };
        const { code, stdout, stderr } = await service.run([], { env });
        assert.deepEqual([code, /^\w+\n$/.test(stdout)], says ? [4, false] : [0, true], stderr);
        assert.match(stderr, says ?? /^$/);
    });
}
