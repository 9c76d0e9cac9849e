import assert from 'node:assert/strict';
import { spawn, spawnSync } from 'node:child_process';
import { once } from 'node:events';
import { readFileSync, writeFileSync } from 'node:fs';
import { createServer } from 'node:http';
import { createServer as createTlsServer } from 'node:https';
import test from 'node:test';
import { setTimeout as delay } from 'node:timers/promises';

import { makeCertificate } from './support/certificate.mjs';
import { App, Service, inherited, isWindows } from './support/command.mjs';
import { fakeProvider } from './support/fake.mjs';
import { listen } from './support/ports.mjs';
import { startProvider } from './support/provider.mjs';

const provider = await startProvider(test, '--access-token-ttl', '3600', '--id-token-ttl', '1800');

const claims = (token) => JSON.parse(Buffer.from(token.split('.')[1], 'base64url'));
const timestamp = (seconds) => new Date(seconds * 1000).toISOString().replace('.000', '');

async function signedIn(t, url = provider.configUrl) {
    const app = await App.make(t, url);
    const { code, stderr } = await app.signIn();
    assert.equal(code, 0, stderr);
    return app;
}

/// The URL of the server, and the credentials that requests to it carry.
async function credentialsAt(t, server) {
    const seen = [];
    server.on('request', (request, response) => {
        seen.push(request.headers.authorization);
        response.setHeader('Content-Type', 'application/json').end('{}');
    });
    return { address: await listen(t, server), seen };
}

test('each format gives out the same token, with the expiry of its own', async (t) => {
    const app = await signedIn(t);
    const v1 = 'client.authentication.k8s.io/v1';
    const info = (apiVersion) => ({ KUBERNETES_EXEC_INFO: JSON.stringify({ apiVersion, spec: {} }) });
    for (const [command, name] of [['token', 'access_token'], ['id-token', 'id_token']]) {
        const text = (await app.succeed([command])).trim();
        const expiry = timestamp(claims(text).exp);
        const json = JSON.parse(await app.succeed([command, '--output', 'json']));
        assert.equal(json[name], text);
        assert.deepEqual(JSON.parse(await app.succeed([command, '--json', '--output=json'])), json);
        // An access token's expiry counts from its arrival.
        assert.ok(Math.abs(Date.parse(json.expires_at) - Date.parse(expiry)) <= (name === 'id_token' ? 0 : 5000));
        const variables = `OIDCAUTH_${name.toUpperCase()}=${text}\nOIDCAUTH_EXPIRES_AT=${json.expires_at}\n`;
        assert.equal(await app.succeed([command, '--output', 'env']), variables);
        assert.equal(await app.succeed([command, '--output', 'header']), `Authorization: Bearer ${text}\n`);
        for (const [env, apiVersion] of [
            [{}, v1],
            [{ KUBERNETES_EXEC_INFO: '' }, v1],
            [info(v1), v1],
            [info(`${v1}beta1`), `${v1}beta1`],
        ]) {
            const credential = JSON.parse(await app.succeed([command, '--output', 'exec-credential'], { env }));
            const status = { expirationTimestamp: json.expires_at, token: text };
            assert.deepEqual(credential, { apiVersion, kind: 'ExecCredential', status });
        }
    }
});

test('a shell takes the variables for what they are', async (t) => {
    const tokens = ['~', '~root', '-._~+/09azAZ==', '~/+=='];
    const server = fakeProvider((_, response) => {
        const [access_token] = tokens;
        response.end(JSON.stringify({ access_token, token_type: 'Bearer', expires_in: 60 }));
    });
    const service = new Service(t, `http://${await listen(t, server)}/`);
    for (; tokens.length > 0; tokens.shift()) {
        const variables = await service.succeed(['--output', 'env']); // the stored one is never valid for long enough
        const script = `${variables}printf %s "$OIDCAUTH_ACCESS_TOKEN"`;
        assert.equal(spawnSync('sh', ['-c', script]).stdout.toString(), tokens[0], variables);
    }
});

test('an ID token that has expired is refreshed, though the access token lives', async (t) => {
    const shortly = await startProvider(t, '--access-token-ttl', '30', '--id-token-ttl', '2');
    const app = await signedIn(t, shortly.configUrl);
    const args = ['--min-validity', '0'];
    const access = await app.succeed(['token', ...args]);
    const { exp } = claims(await app.succeed(['id-token', ...args]));
    while (Date.now() < exp * 1000) {
        await delay(50);
    }
    assert.equal(await app.succeed(['token', ...args]), access);
    assert.ok(claims(await app.succeed(['id-token', ...args])).exp > exp);
    shortly.requests();
    await app.succeed(['id-token', '--min-validity', '1']);
    const refreshes = shortly.requests().filter(({ path }) => path === '/token');
    assert.equal(refreshes.length, 1, 'once is enough, however short they live');
});

test('curl takes the header from a pipe', async (t) => {
    const app = await signedIn(t);
    const { address, seen } = await credentialsAt(t, createServer());
    const header = await app.succeed(['token', '--output', 'header']);
    const args = ['--silent', '--fail', '-H', '@-', `http://${address}/`];
    const curl = spawn('curl', args, { env: inherited() });
    curl.stdin.end(header);
    assert.deepEqual(await once(curl, 'close'), [0, null]);
    assert.deepEqual(seen, [header.replace('Authorization: ', '').trim()]);
});

const missingKubectl =
    spawnSync('kubectl', ['version', '--client']).error && !process.env.CI && 'no kubectl';

test('kubectl gets its credentials from the command', { skip: isWindows || missingKubectl }, async (t) => {
    const shortly = await startProvider(t, '--access-token-ttl', '4');
    const app = await signedIn(t, shortly.configUrl);
    const certificate = makeCertificate(t, 'IP:127.0.0.1');
    const { address, seen } = await credentialsAt(
        t,
        createTlsServer({ cert: readFileSync(certificate.cert), key: readFileSync(certificate.key) }),
    );
    const exec = {
        apiVersion: 'client.authentication.k8s.io/v1beta1',
        command: process.env.OIDCAUTH_COMMAND,
        args: ['token', '--output', 'exec-credential', '--min-validity', '0'],
        env: Object.entries(app.environment).map(([name, value]) => ({ name, value })),
    };
    const cluster = { server: `https://${address}`, 'certificate-authority': certificate.cert };
    const configuration = {
        apiVersion: 'v1',
        kind: 'Config',
        'current-context': 'test',
        clusters: [{ name: 'stub', cluster }],
        contexts: [{ name: 'test', context: { cluster: 'stub', user: 'ada' } }],
        users: [{ name: 'ada', user: { exec } }],
    };
    writeFileSync(app.path('kubeconfig'), JSON.stringify(configuration), { mode: 0o600 });
    const bearer = async () => {
        const env = { ...inherited(), HOME: app.home, KUBECONFIG: app.path('kubeconfig') };
        const args = ['get', '--raw', '/api/v1/pods'];
        const kubectl = spawn('kubectl', args, { env, stdio: ['ignore', 'ignore', 'inherit'] });
        assert.deepEqual(await once(kubectl, 'close'), [0, null]);
        return seen.splice(0).at(-1);
    };
    const first = await bearer();
    const { exp } = claims(first);
    assert.equal(await bearer(), first);
    while (Date.now() <= (exp + 1) * 1000) {
        await delay(50);
    }
    const second = await bearer();
    assert.ok(claims(second).exp > exp);
    assert.equal(second, `Bearer ${(await app.succeed(['token', '--min-validity', '0'])).trim()}`);
});
