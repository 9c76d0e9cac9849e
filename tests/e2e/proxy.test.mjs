import assert from 'node:assert/strict';
import test from 'node:test';

import { makeCertificate } from './support/certificate.mjs';
import { Service } from './support/command.mjs';
import { missingProxy, startProxy } from './support/proxy.mjs';
import { startProvider } from './support/provider.mjs';

const { cert, key } = makeCertificate(test, 'IP:127.0.0.1');
const [proxy, http, https] = missingProxy
    ? []
    : await Promise.all([
          startProxy(test),
          startProvider(test),
          startProvider(test, '--tls-cert', cert, '--tls-key', key),
      ]);

const discovery = (origin) => `GET ${origin}/.well-known/openid-configuration HTTP/1.1`;
const token = (origin) => `POST ${origin}/token HTTP/1.1`;
const tunnel = (origin) => `CONNECT ${origin.replace('https://', '')} HTTP/1.1`;

for (const { name, provider, proxied, direct, expected } of [
    {
        name: 'http goes through http_proxy',
        provider: http,
        proxied: ['http_proxy'],
        expected: [discovery, token],
    },
    {
        // One for each: nobody can tell whether a kept tunnel still works, and a token request is
        // sent only once.
        name: 'https goes through https_proxy in tunnels',
        provider: https,
        proxied: ['https_proxy'],
        expected: [tunnel, tunnel],
    },
    {
        name: 'a host of no_proxy is asked directly',
        provider: http,
        proxied: ['http_proxy', 'all_proxy'],
        direct: 'example.com, 127.0.0.1',
        expected: [],
    },
    {
        name: 'https does not go through http_proxy',
        provider: https,
        proxied: ['http_proxy'],
        expected: [],
    },
]) {
    test(name, { skip: missingProxy }, async (t) => {
        const env = { SSL_CERT_FILE: cert, no_proxy: direct };
        for (const variable of proxied) {
            env[variable] = proxy.url;
        }
        const { code, stderr } = await new Service(t, provider.configUrl).run([], { env });
        const { origin } = new URL(provider.configUrl);
        assert.deepEqual(
            { code, stderr, requests: proxy.requests() },
            { code: 0, stderr: '', requests: expected.map((line) => line(origin)) },
        );
    });
}
