import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { createServer } from 'node:http';
import { createServer as createTcpServer } from 'node:net';
import { Readable } from 'node:stream';
import { createServer as createTlsServer } from 'node:tls';
import test from 'node:test';

import { makeCertificate } from './support/certificate.mjs';
import { App, Command, Service } from './support/command.mjs';
import { listen } from './support/ports.mjs';
import { startProvider } from './support/provider.mjs';

const provider = await startProvider(test);
const real = await (await fetch(provider.configUrl)).json();
const { keys } = await (await fetch(real.jwks_uri)).json();

const examine = (t, configUrl, ...args) =>
    new Command(t, {}).run(['provider', '--config-url', configUrl, ...args]);

test('the demo provider serves people and services', async (t) => {
    const scopes = ['--scopes', 'openid api:read'];
    const { code, stdout } = await examine(t, provider.configUrl, ...scopes);
    assert.equal(code, 0);
    assert.doesNotMatch(stdout, /MISSING|advised/);
    assert.match(stdout, /Users can sign in: +yes\nServices get tokens: +yes\n$/);
});

for (const { end, code } of [{ end: '', code: 0 }, { end: '/', code: 4 }]) {
    test(`the issuer with "${end}" behind it gives ${code}`, async (t) => {
        const issuer = real.issuer + end;
        const ended = await new Command(t, {}).run(['provider', '--json', '--issuer', issuer]);
        assert.equal(ended.code, code, ended.stderr);
        const { checks, login } = JSON.parse(ended.stdout);
        const found = checks.filter(({ check }) => /^(--issuer|configuration URL)$/.test(check));
        const { result, remedy, ...rest } = found.shift();
        assert.deepEqual(rest, { use: null, check: '--issuer', needs: issuer, found: real.issuer });
        assert.deepEqual([result, remedy === null, login], code ? ['MISSING', false, false] : ['ok', true, true]);
        assert.deepEqual(found, []);
    });
}

/// Answers with a configuration, or with signing keys, that differ from the real ones. Returns the
/// URL of the configuration.
async function startBroken(t, { configuration = {}, keySet = { keys }, head = () => {} }) {
    const server = createServer((request, response) => {
        const origin = `http://${request.headers.host}`;
        const documents = {
            '/.well-known/openid-configuration': {
                ...real,
                issuer: origin,
                jwks_uri: `${origin}/keys`,
                ...configuration,
            },
            '/keys': keySet,
        };
        response.setHeader('Content-Type', 'application/json');
        head(request, response);
        response.end(JSON.stringify(documents[request.url]));
    });
    return `http://${await listen(t, server)}/.well-known/openid-configuration`;
}

const without = (...names) => Object.fromEntries(names.map((name) => [name, undefined]));
const keyWith = (changes) => ({ keySet: { keys: [{ ...keys[0], ...changes }] } });
const grants = (...names) => ({ configuration: { grant_types_supported: names } });
const people = ['authorization_code', 'refresh_token'];

for (const { name, broken, args = [], missing, login = false, services = false } of [
    {
        name: 'no form posts',
        broken: { configuration: { response_modes_supported: ['query', 'fragment'] } },
        missing: ['response_modes_supported'],
        services: true,
    },
    { name: 'people only', broken: grants(...people), missing: ['grant_types_supported'], login: true },
    {
        name: 'people only, for services',
        broken: grants(...people),
        args: ['--for', 'service-token'],
        missing: ['grant_types_supported'],
        login: true,
    },
    {
        name: 'what a provider may leave out',
        broken: {
            configuration: without(
                'scopes_supported',
                'response_modes_supported',
                'code_challenge_methods_supported',
                'token_endpoint_auth_methods_supported',
            ),
        },
        missing: ['scopes_supported', 'response_modes_supported'],
    },
    {
        name: 'requests that are pushed before',
        broken: { configuration: { require_pushed_authorization_requests: true } },
        missing: ['require_pushed_authorization_requests'],
        services: true,
    },
    {
        name: 'members of other types',
        broken: {
            configuration: {
                issuer: 7,
                token_endpoint: 'ftp://id.example/',
                response_types_supported: 'code id_token',
                id_token_signing_alg_values_supported: [['RS256']],
            },
        },
        missing: [
            'issuer',
            'token_endpoint',
            'response_types_supported',
            'id_token_signing_alg_values_supported',
        ],
    },
    {
        name: 'scopes without openid',
        broken: {},
        args: ['--scopes', 'api:read other'],
        missing: ['scopes to ask for'],
        services: true,
    },
    {
        name: 'a configuration that is elsewhere',
        broken: {
            head: (_, response) => response.writeHead(302, { Location: provider.configUrl }),
        },
        missing: ['configuration'],
    },
    {
        name: 'a configuration of another type',
        broken: { head: (_, response) => response.setHeader('Content-Type', 'text/html') },
        missing: ['configuration'],
    },
    {
        name: 'no key set',
        broken: { head: ({ url }, response) => url === '/keys' && response.writeHead(404) },
        missing: ['key set'],
        services: true,
    },
    {
        name: 'a key set without keys',
        broken: { keySet: null },
        missing: ['signing keys'],
        services: true,
    },
    {
        name: 'a key of another type',
        broken: keyWith({ kty: 'EC' }),
        missing: ['signing keys'],
        services: true,
    },
    {
        name: 'a key of no stated use, and none that can be used',
        broken: keyWith({ use: undefined }),
        missing: ['signing keys', 'signing keys'],
        services: true,
    },
    {
        name: 'a key without a name',
        broken: keyWith({ kid: undefined }),
        missing: ['signing keys'],
        services: true,
    },
]) {
    test(`is missing: ${name}`, async (t) => {
        const configUrl = await startBroken(t, broken);
        const { code, stdout, stderr } = await examine(t, configUrl, '--json', ...args);
        const report = JSON.parse(stdout);
        const failed = report.checks.filter(({ result }) => result === 'MISSING');
        assert.ok(report.checks.every(({ result, remedy }) => !remedy === (result === 'ok')));
        assert.deepEqual(
            { missing: failed.map(({ check }) => check), ...report },
            { missing, checks: report.checks, login, service_token: services },
        );
        const isServed = args.includes('--for') ? services : login || services;
        assert.equal(code, isServed ? 0 : 4, stderr);
        const { error, kind } = isServed ? {} : JSON.parse(stderr);
        assert.equal(kind, isServed ? undefined : 'wrong_answer');
        assert.match(error ?? '', isServed ? /^$/ : /^this provider cannot be used/);
    });
}

const dated = (seconds, headers = {}) => ({
    head: (_, response) => {
        response.setHeader('Date', new Date(Date.now() + seconds * 1000).toUTCString());
        response.setHeaders(new Map(Object.entries(headers)));
    },
});

for (const { name, broken, advised = [], missing = [] } of [
    {
        name: 'a token endpoint with a query',
        broken: { configuration: { token_endpoint: `${real.token_endpoint}?p=policy` } },
        advised: ['token_endpoint'],
    },
    {
        name: 'an endpoint inside',
        broken: { configuration: { authorization_endpoint: 'http://idp.internal/auth' } },
        advised: ['encryption', 'hosts'],
    },
    {
        name: 'a configuration elsewhere',
        broken: { configuration: { issuer: real.issuer } },
        advised: ['configuration URL'],
    },
    { name: 'a key for other signatures', broken: keyWith({ alg: 'PS512' }), advised: ['signing keys'] },
    { name: 'a key for no signature here', broken: keyWith({ kty: 'EC' }), missing: ['signing keys'] },
    { name: 'a key for any signature', broken: keyWith({ alg: undefined }) },
    // A date has no fraction, so the difference can be up to a second too small.
    { name: 'a clock ahead', broken: dated(3), advised: ['clock'] },
    { name: 'a clock far ahead', broken: dated(7), missing: ['clock'] },
    { name: 'a clock somewhat behind', broken: dated(-3) },
    { name: 'a clock behind', broken: dated(-9), advised: ['clock'] },
    { name: 'a clock behind, in a cache', broken: dated(-9, { Age: '9' }) },
    { name: 'a clock in the year 9999', broken: dated(250e9), missing: ['clock'] },
    { name: 'a date that is none', broken: dated(9, { Date: 'tomorrow' }) },
]) {
    test(`has a remedy for ${name}`, async (t) => {
        const { stdout } = await examine(t, await startBroken(t, broken), '--json');
        const { checks } = JSON.parse(stdout);
        const having = (wanted) =>
            checks.filter(({ result }) => result === wanted).map(({ check }) => check);
        assert.deepEqual([having('advised'), having('MISSING')], [advised, missing]);
        assert.ok(checks.every(({ result, remedy }) => !remedy === (result === 'ok')));
    });
}

for (const { env, columns, coloured = false } of [
    { env: { TERM: 'xterm' }, columns: 84, coloured: true },
    { env: { TERM: 'xterm', NO_COLOR: '' }, columns: 130, coloured: true },
    { env: { TERM: 'xterm', NO_COLOR: '0' }, columns: 84 },
    { env: { TERM: 'dumb' }, columns: 84 },
    { env: { TERM: 'xterm' } }, // a pipe
]) {
    const where = `${columns ?? 'no'} columns of a terminal with ${JSON.stringify(env)}`;
    test(`fits into ${where}`, async (t) => {
        const configuration = {
            issuer: `https://${'\u00e9'.repeat(700)}`,
            scopes_supported: Array.from({ length: 99 }, (_, i) => `scope-${i}`),
        };
        const url = await startBroken(t, { configuration });
        const inTerminal = `script -qec "stty cols ${columns} && $*" /dev/null`;
        const launcher = columns ? ['sh', '-c', inTerminal, '-'] : [];
        const command = new Command(t, env);
        const { stdout } = await command.run(['provider', '--config-url', url], { launcher });
        const lines = stdout.replaceAll(/\x1b\[[0-9;]*m/g, '').split(/\r?\n/);
        assert.equal(lines.join() !== stdout.split(/\r?\n/).join(), coloured);
        const widest = Math.max(...lines.map(({ length }) => length));
        const limit = columns ?? 100;
        assert.ok(widest <= limit && widest > limit - 15, `${widest} of ${limit}: ${stdout}`);
        // The issuer is cut after four lines, but not within a character; the list of scopes would
        // be longer.
        const start = lines.findIndex((line) => line.startsWith('  ok       issuer  '));
        assert.match(lines[start + 3], /^ +\u00e9+ \.\.\.$/);
        assert.match(lines.slice(start + 4).join('\n'), /"scope-5",(?!.*scope-60)/s);
        assert.doesNotMatch(stdout, /\ufffd/);
    });
}

test('an amended copy makes up for a member that is left out', async (t) => {
    const there = { issuer: real.issuer, jwks_uri: real.jwks_uri };
    const short = { configuration: { ...there, ...without('grant_types_supported') } };
    for (const [broken, code] of [[short, 4], [{ configuration: there }, 0]]) {
        const configUrl = await startBroken(t, broken);
        const app = await App.make(t, configUrl);
        const signedIn = await (code ? app.run(['login', '--no-browser']) : app.signIn());
        const served = await new Service(t, configUrl).run();
        assert.deepEqual([signedIn.code, served.code], [code, code], signedIn.stderr);
    }
});

test('a provider that is not reached is a network error', async (t) => {
    const { code, stdout, stderr } = await examine(t, 'http://127.0.0.1:1/');
    assert.deepEqual([code, stdout], [5, '']);
    assert.match(stderr, /^oidcauth: 127\.0\.0\.1:1: /);
});

const head = 'HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n';
const chunked = `${head}Transfer-Encoding: chunked\r\n\r\n`;

for (const { what, first, again, tls = false, proxied = false } of [
    { what: 'header', first: `${head}X: `, again: 'x' },
    { what: 'head', first: head, again: 'X: y\r\n' },
    { what: 'chunk', first: `${chunked}fffffffff\r\n`, again: ' ' },
    { what: 'chunk extension', first: `${chunked}1;`, again: 'x' },
    { what: 'head over TLS', first: head, again: 'X: y\r\n', tls: true },
    { what: 'head from a proxy', first: head, again: 'X: y\r\n', proxied: true },
]) {
    test(`an endless ${what} is not taken in`, async (t) => {
        const { cert, key } = tls ? makeCertificate(t, 'IP:127.0.0.1') : {};
        const files = tls && { cert: readFileSync(cert), key: readFileSync(key) };
        let taken = 0;
        const answer = (socket) => {
            const piece = Buffer.from(again.repeat(16384));
            const bytes = function* () {
                yield Buffer.from(first);
                for (;;) {
                    taken += piece.length;
                    yield piece;
                }
            };
            socket.on('error', () => {});
            socket.once('data', () => Readable.from(bytes(), { highWaterMark: 1 }).pipe(socket));
        };
        const server = tls ? createTlsServer(files, answer) : createTcpServer(answer);
        const address = await listen(t, server);
        const env = { SSL_CERT_FILE: cert, http_proxy: proxied ? `http://${address}` : undefined };
        const origin = proxied ? 'http://id.example' : `${tls ? 'https' : 'http'}://${address}`;
        const args = ['provider', '--config-url', `${origin}/`];
        const { code, stderr } = await new Command(t, env).run(args);
        assert.equal(code, 4, stderr);
        // Including the system's buffers, far below the amount that the command would read in a
        // second.
        assert.ok(taken < 32 * 1024 * 1024, `took ${taken} bytes`);
    });
}

test('what a provider says cannot control a terminal', async (t) => {
    const issuer = 'a\x7f\u009b31m\u061c\u200e\u200f\u2028\u2029\u202a\u202e\u2066\u2069b\u00a0\u{1f600}';
    const configUrl = await startBroken(t, { configuration: { issuer } });
    const [json, plain] = await Promise.all([examine(t, configUrl, '--json'), examine(t, configUrl)]);
    const found = JSON.parse(json.stdout).checks.find(({ check }) => check === 'issuer');
    assert.equal(found.found, issuer);
    for (const { stdout } of [json, plain]) {
        assert.match(stdout, /\\u202e/);
        assert.doesNotMatch(stdout, /[\x7f-\x9f\u061c\u200e\u200f\u2028-\u202e\u2066-\u2069]/);
        assert.match(stdout, /b\u00a0\u{1f600}/u);
    }
});

for (const authorization_endpoint of ['javascript:alert(1)', 'file:///etc/passwd', 'https:///auth']) {
    test(`nobody is sent to ${authorization_endpoint}`, async (t) => {
        const configUrl = await startBroken(t, { configuration: { authorization_endpoint } });
        const app = await App.make(t, configUrl);
        const { code, stdout, stderr } = await app.run(['login', '--no-browser']);
        assert.deepEqual([code, stdout], [4, ''], stderr);
        assert.match(stderr, /authorization_endpoint/);
        assert.ok(!stderr.includes(authorization_endpoint), stderr);
    });
}
