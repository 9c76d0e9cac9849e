import assert from 'node:assert/strict';
import { once } from 'node:events';
import { createServer as createTcpServer } from 'node:net';
import test from 'node:test';

import { makeCertificate } from './support/certificate.mjs';
import { Service, onLinux } from './support/command.mjs';
import { fakeProvider } from './support/fake.mjs';
import { listen } from './support/ports.mjs';
import { startProvider } from './support/provider.mjs';

test('https needs a trusted certificate of the host', onLinux, async (t) => {
    const own = makeCertificate(t, 'IP:127.0.0.1');
    const strange = makeCertificate(t, 'DNS:id.example');
    const tls = ({ cert, key }) => ['--tls-cert', cert, '--tls-key', key];
    const [right, wrong] = await Promise.all(
        [own, strange].map((certificate) => startProvider(t, ...tls(certificate))),
    );
    for (const { name, provider, trusted, file, code } of [
        { name: 'an unknown authority', provider: right, code: 5 },
        { name: 'a named authority', provider: right, trusted: own.cert, code: 0 },
        { name: 'a file of authorities', provider: right, file: own.cert, code: 0 },
        { name: 'one in place of another', provider: right, trusted: strange.cert, file: own.cert, code: 0 },
        { name: 'another authority', provider: right, trusted: strange.cert, code: 5 },
        { name: 'a file of another one', provider: right, trusted: own.cert, file: strange.cert, code: 5 },
        { name: 'another host', provider: wrong, trusted: strange.cert, code: 5 },
    ]) {
        const service = new Service(t, provider.configUrl);
        const args = file ? ['--ca-file', file] : [];
        const ended = await service.run(args, { env: { SSL_CERT_FILE: trusted } });
        assert.equal(ended.code, code, `${name}: ${ended.stderr}`);
        assert.equal(provider.requests().length > 0, code === 0, name);
    }
});

test('a provider or proxy that is not there, or hangs up, is a network error', async (t) => {
    const server = createTcpServer((socket) => socket.destroy());
    const hangsUp = await listen(t, server);
    for (const { configUrl, env } of [
        { configUrl: 'http://127.0.0.1:1/' },
        { configUrl: 'http://host.invalid/' },
        { configUrl: `http://${hangsUp}/` },
        { configUrl: `https://${hangsUp}/` },
        { configUrl: `http://${hangsUp}/`, env: { http_proxy: 'http://127.0.0.1:1' } },
    ]) {
        const { code, stdout, stderr } = await new Service(t, configUrl).run([], { env });
        assert.deepEqual([code, stdout], [5, ''], `${configUrl}: ${stderr}`);
        assert.ok(stderr.startsWith(`oidcauth: ${new URL(configUrl).host}: `), stderr);
    }
});

/// Emits `hangs` when it has received data that it will never answer: any data, ...
function silentServer() {
    const server = createTcpServer((socket) =>
        socket.once('data', () => server.emit('hangs')).on('error', () => {}),
    );
    return server;
}

/// ... or the request for a token, after discovery.
function halfSilentServer() {
    const server = fakeProvider(() => server.emit('hangs'));
    return server;
}

for (const { name, scheme, makeServer } of [
    { name: 'discovery', scheme: 'http', makeServer: silentServer },
    { name: 'a TLS handshake', scheme: 'https', makeServer: silentServer },
    { name: 'the token request', scheme: 'http', makeServer: halfSilentServer },
]) {
    test(`Ctrl-C during ${name} ends at once`, async (t) => {
        const server = makeServer();
        const closed = [];
        // Cut off or not: an interrupted client may leave half a request behind.
        server.on('connection', (socket) =>
            closed.push(new Promise((resolve) => socket.once('close', resolve))),
        );
        const hangs = once(server, 'hangs');
        const service = new Service(t, `${scheme}://${await listen(t, server)}/`);
        const child = service.start();
        const early = child.result.then(({ stderr }) => {
            throw new Error(`ended before it was interrupted: ${stderr}`);
        });
        await Promise.race([hangs, early]);
        const start = performance.now();
        child.kill('SIGINT');
        assert.deepEqual(await child.result, {
            code: 130,
            stdout: '',
            stderr: 'oidcauth: interrupted\n',
        });
        const elapsed = performance.now() - start;
        assert.ok(elapsed < 5000, `took ${elapsed} ms, nearer to the time-out of 30 s`);
        await Promise.all(closed);
    });
}
