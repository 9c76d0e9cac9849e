import assert from 'node:assert/strict';
import test from 'node:test';

import { Command, secret, Service } from './support/command.mjs';

// Nothing listens there: whoever gets as far as to ask ends with 5.
const configUrl = 'http://127.0.0.1:1/';

for (const { command = 'service-token', args = [], env, says } of [
    { args: ['--client-secret', secret], says: /--client-secret\b/ },
    { args: [`--client-secret=${secret}`], says: /--client-secret\b/ },
    { args: [secret], says: /unexpected/ },
    { args: ['--client-secret-file', secret], says: /--client-secret-file/ },
    { args: ['--client-secret-env', secret], says: /--client-secret-env/ },
    { args: ['--client-secret-stdin', '--client-secret-file', 'f'], says: /at most 1/i },
    { args: ['--min-validity', '-1'], says: /--min-validity/ },
    { args: ['--min-validity', '4294967296'], says: /--min-validity/ },
    { args: ['--client-id'], says: /--client-id/ },
    { env: { OIDCAUTH_SCOPES: undefined }, says: /--scopes is required/ },
    { args: ['--scopes', ' '], says: /--scopes/ },
    { env: { OIDCAUTH_CONFIG_URL: undefined }, says: /--config-url is required/ },
    { args: ['--config-url', 'id.example'], says: /--config-url id\.example: .*https/ },
    { args: ['--config-url', 'ftp://id.example/'], says: /--config-url ftp:.*https/ },
    { args: ['--config-url', 'https:///path'], says: /--config-url https:.*host/ },
    { args: ['--config-url', 'http://a b/'], says: /--config-url http:.*URL/ },
    { env: { http_proxy: 'socks5://127.0.0.1:1080' }, says: /http_proxy.*socks5/ },
    { env: { HOME: undefined }, says: /--store/ },
    { command: 'login', args: ['--redirect-url', 'https://127.0.0.1/'], says: /--redirect-url.*http,/ },
    { command: 'status', env: { OIDCAUTH_CLIENT_ID: undefined }, says: /--client-id.*--store/ },
    { command: 'provider', args: ['--for', 'people'], says: /--for/ },
]) {
    const changes = Object.entries(env ?? {}).map((pair) => pair.join('='));
    test(`refuses ${[command, ...args, ...changes].join(' ')}`, async (t) => {
        const { environment } = new Service(t, configUrl);
        const { code, stdout, stderr } = await new Command(t, environment).run([command, ...args], { env });
        assert.equal(code, 2, stderr);
        assert.equal(stdout, '');
        assert.match(stderr, says);
        assert.match(stderr, /^oidcauth: /);
        assert.ok(!stderr.includes(secret), 'who reads the log learns the secret');
    });
}
