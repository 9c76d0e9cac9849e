import assert from 'node:assert/strict';
import { chmodSync, existsSync, mkdirSync, readdirSync, readFileSync, writeFileSync } from 'node:fs';
import { dirname, join } from 'node:path';
import test from 'node:test';

import { App, Command, Service, isWindows, onLinux, secret, visit } from './support/command.mjs';
import { freePort } from './support/ports.mjs';
import { startProvider } from './support/provider.mjs';

const provider = await startProvider(test, '--access-token-ttl', '3600');
const issuer = provider.configUrl.replace('/.well-known/openid-configuration', '');

function writeConfig(command, text) {
    const file = join(command.configFolder, 'config.toml');
    mkdirSync(dirname(file), { recursive: true });
    writeFileSync(file, text, { mode: 0o644 });
    return file;
}

// Nothing listens at any of these: the error names the one that was used.
const url = (port) => `http://127.0.0.1:${port}/`;

for (const { what, args = [], env = {}, asks } of [
    { what: 'the default profile', asks: 1 },
    { what: 'another profile', args: ['--profile', 'other'], asks: 2 },
    { what: 'a profile of the environment', env: { OIDCAUTH_PROFILE: 'other' }, asks: 2 },
    {
        what: 'the command line before the environment',
        args: ['--profile', 'work'],
        env: { OIDCAUTH_PROFILE: 'other' },
        asks: 1,
    },
    {
        what: 'the environment before a profile',
        args: ['--profile', 'work'],
        env: { OIDCAUTH_CONFIG_URL: url(3) },
        asks: 3,
    },
    {
        what: 'what excludes a variable before that variable',
        args: ['--profile', 'work', '--issuer', 'http://127.0.0.1:4'],
        env: { OIDCAUTH_CONFIG_URL: url(3) },
        asks: 4,
    },
    {
        what: 'no default profile for who names a client',
        args: ['--config-url', url(5), '--client-id', 'c', '--scopes', 's'],
        env: { OIDCAUTH_CLIENT_SECRET: secret },
        asks: 5,
    },
    {
        what: 'a secret of the environment before a file of the profile',
        args: ['--profile', 'unreadable'],
        env: { OIDCAUTH_CLIENT_SECRET: secret },
        asks: 6,
    },
]) {
    test(`takes ${what}`, async (t) => {
        const command = new Command(t, {});
        writeFileSync(command.path('secret'), secret);
        // All users of Wine have the same home directory.
        const place = (path) => (isWindows ? `Z:${command.path('secret')}` : path);
        const profile = (name, port, file) =>
            `[${name}]\nconfig-url = "${url(port)}"\nclient-id = "c"\nscopes = ["a", "b"]\n` +
            `client-secret-file = "${file}"\n`;
        writeConfig(
            command,
            `default-profile = "work"\n${profile('work', 1, place('~/secret'))}` +
                profile('other', 2, place('../../secret')) + profile('unreadable', 6, 'nowhere'),
        );
        const { code, stderr } = await command.run(['service-token', ...args], { env });
        assert.equal(code, 5, stderr);
        assert.match(stderr, new RegExp(`127\\.0\\.0\\.1:${asks}: `));
    });
}

for (const { text, says, args = ['--profile', 'p'], mode = 0o644 } of [
    { text: '[p]\nclient-id = "c"\nclientid = "c"', says: ':3: clientid: no such key' },
    { text: 'client-id = "c"', says: ':1: client-id: belongs in the section of a profile' },
    { text: '[p]\nprofile = "q"', says: ':2: profile: no such key' },
    { text: '[p]\n"x y" = 1', says: ':2: no such key' },
    { text: '[p]\nmin-validity = "5"', says: ':2: min-validity: must be a whole number' },
    { text: '[p]\nmin-validity = -1', says: ':2: min-validity: that value is not allowed' },
    { text: '[p]\nkeyring = "yes"', says: ':2: keyring: must be true or false' },
    { text: '[p]\nclient-id = ["c"]', says: ':2: client-id: must be a string' },
    { text: '[p]\nscopes = ["a", 1]', says: ':2: scopes: must be a string, or a list of strings' },
    { text: '[p]\nscopes = []', says: ':2: scopes: must be a string, or a list of strings' },
    { text: '[p]\nclient-id = ""', says: ':2: client-id: must be a string that is neither empty nor contains NUL' },
    { text: '[p]\nclient-id = "c\\u0000"', says: ':2: client-id: must be a string that is neither empty nor contains NUL' },
    { text: '[p]\nstore = "s"\nkeyring = true', says: ':3: keyring: cannot be used together with ' },
    { text: '[p]\nconfig-url = "ftp://x/"', says: ':2: config-url: the scheme must be https' },
    { text: `[p]\nclient-secret = '${secret}'`, says: ':2: client-secret: a secret does not belong here' },
    { text: '[q.r]\nclient-id = "c"', says: ':1: r: no such key' },
    { text: '[p]\nclient-id = "c', says: ':2: ' },
    { text: '[p]\n[p]', says: ':2: ' },
    ...(isWindows ? [] : [{ text: '[p]', mode: 0o664, says: ': can be written by other users; set its mode to 0644' }]),
    { text: '[p2]', says: 'no profile of that name in ' },
    { text: 'default-profile = "q"', args: [], says: ':1: default-profile: no profile of that name' },
    { text: '[p]\nissuer = "http://127.0.0.1:1/?a"', says: ':2: issuer: must have no query' },
    { text: `[p]\nClient_Secret = '${secret}'`, says: ':2: Client_Secret: a secret does not belong here' },
    { text: 'default-profile = 1', args: [], says: ':1: default-profile: must be the name of a profile' },
]) {
    test(`refuses ${JSON.stringify(text)}`, async (t) => {
        const command = new Command(t, { OIDCAUTH_SCOPES: 'a', OIDCAUTH_CLIENT_SECRET: 's' });
        const file = writeConfig(command, text);
        chmodSync(file, mode);
        const ended = await command.run(['service-token', ...args]);
        assert.deepEqual([ended.code, ended.stdout], [2, ''], ended.stderr);
        assert.ok(ended.stderr.includes(says.startsWith(':') ? `${command.shown(file)}${says}` : says), ended.stderr);
        assert.ok(!ended.stderr.includes(secret), ended.stderr);
        assert.equal(ended.stderr.split('\n').length, 2, ended.stderr);
        assert.equal(readFileSync(file, 'utf8'), text);
    });
}

const claimsOf = (token) => JSON.parse(Buffer.from(token.split('.')[1], 'base64url'));

test('two users of one client live side by side', async (t) => {
    const app = await App.make(t, undefined);
    const configUrl = provider.configUrl;
    const section = `client-id = "demo-app"\nscopes = "openid api:read"\n`;
    writeConfig(
        app,
        `default-profile = "ada"\n[ada]\nissuer = "${issuer}"\n${section}` +
            `[bob]\nconfig-url = "${configUrl}"\n${section}`,
    );
    // Only the profile names a provider; the redirect URL is the test's own.
    for (const name of ['CONFIG_URL', 'CLIENT_ID', 'SCOPES']) {
        delete app.environment[`OIDCAUTH_${name}`];
    }
    for (const user of ['ada', 'bob']) {
        const { code, stderr } = await app.signIn(['login', '--profile', user], '--user', user);
        assert.equal(code, 0, stderr);
    }
    const turns = Array.from({ length: 8 }, async (_, process) => {
        for (let turn = 0; turn < 4; ++turn) {
            const user = ['ada', 'bob'][(process + turn) % 2];
            // Every second call has the token refreshed.
            const validity = turn % 2 ? ['--min-validity', '61'] : [];
            const token = await app.succeed(['token', '--profile', user, ...validity]);
            assert.equal(claimsOf(token).sub, user);
        }
    });
    await Promise.all(turns);

    const listed = JSON.parse(await app.succeed(['profiles', '--json']));
    assert.deepEqual(
        listed.map(({ profile, default: isDefault, subject, token }) => [profile, isDefault, subject, token]),
        [['ada', true, 'ada', 'valid'], ['bob', false, 'bob', 'valid']],
    );
    await app.succeed(['logout', '--profile', 'bob']);
    const [ada, bob] = (await app.succeed(['profiles'])).split('\n');
    assert.match(ada, /^\* ada +demo-app .* ada, valid until /);
    assert.match(bob, /^ {2}bob +demo-app .* no token$/);
    assert.equal(claimsOf(await app.succeed(['token'])).sub, 'ada');
});

test('a flag that a variable takes back excludes nothing', onLinux, async (t) => {
    const command = new Command(t, { OIDCAUTH_KEYRING: '0', OIDCAUTH_NO_STORE: '0' });
    const file = writeConfig(command, '[p]\nstore = "token"\nkeyring = false');
    chmodSync(dirname(file), 0o700);
    writeFileSync(`${dirname(file)}/token`, 'no token', { mode: 0o600 });
    const { code, stderr } = await command.run(['status', '--profile', 'p']);
    assert.deepEqual([code, stderr.includes(`${dirname(file)}/token: the token record is damaged`)], [6, true], stderr);
});

test('profiles tell of one that cannot be used, and of none', async (t) => {
    const command = new Command(t, {});
    assert.match(await command.succeed(['profiles']), /^No profiles in .*config\.toml\n$/);
    assert.deepEqual(JSON.parse(await command.succeed(['profiles', '--json'])), []);
    const file = writeConfig(command, '[a]\nclient-id = "c"\n[b]\nstore = "b"\nmin-validity = 1');
    writeFileSync(`${dirname(file)}/b`, 'no token', { mode: 0o600 });
    chmodSync(dirname(file), 0o700);
    const states = JSON.parse(await command.succeed(['profiles', '--json']));
    assert.deepEqual(states.map(({ token }) => token), ['unusable', 'damaged']);
});

test('the configuration must name the issuer', async (t) => {
    const service = new Service(t, undefined);
    service.environment.OIDCAUTH_CONFIG_URL = undefined;
    for (const { given, code } of [
        { given: `${issuer}/`, code: 4 },
        { given: issuer, code: 0 },
    ]) {
        provider.requests();
        const { code: ended, stderr } = await service.run(['--issuer', given]);
        assert.equal(ended, code, stderr);
        assert.match(stderr, code ? /does not name the issuer given by --issuer/ : /^$/);
        const posts = provider.requests().filter(({ method }) => method === 'POST');
        assert.equal(posts.length, code ? 0 : 1, 'the secret was sent to a strange provider');
    }
    // With a valid token nobody is asked.
    await service.succeed(['--issuer', issuer]);
    assert.deepEqual(provider.requests(), []);
});

test('what is kept nowhere is asked for each time', async (t) => {
    const service = new Service(t, provider.configUrl);
    service.environment.HOME = undefined; // as in a container
    provider.requests();
    const tokens = [];
    for (const options of [{ env: { OIDCAUTH_NO_STORE: '1' } }, {}]) {
        const args = options.env ? [] : ['--no-store'];
        const { code, stdout, stderr } = await service.run(args, options);
        assert.equal(code, 0, stderr);
        tokens.push(stdout);
    }
    assert.notEqual(tokens[0], tokens[1]);
    assert.deepEqual(readdirSync(service.home), []);

    const app = new App(t, provider.configUrl, `http://127.0.0.1:${await freePort()}/callback`);
    const { code, stderr } = await app.run(['login', '--no-store']);
    assert.equal(code, 2, stderr);
    const child = await app.startSignIn(['token', '--sign-in', '--no-store', '--json']);
    await visit(child.page);
    const { access_token } = JSON.parse((await child.result).stdout);
    assert.equal(claimsOf(access_token).client_id, 'demo-app');
    assert.ok(!existsSync(app.path('.local')));
});

for (const { what, args = [], env, expected } of [
    {
        what: 'the provider refuses',
        env: { OIDCAUTH_CLIENT_SECRET: `${secret}!` },
        expected: {
            error: 'unable to retrieve token: the provider says invalid_client (client authentication failed)',
            exit_code: 4,
            kind: 'provider_refused',
            can_retry: false,
            status: 401,
            provider_error: 'invalid_client',
            provider_error_description: 'client authentication failed',
        },
    },
    {
        what: 'the command line is wrong',
        args: ['--scopse', 'a'],
        expected: { error: 'unexpected: --scopse (a value)', exit_code: 2, kind: 'usage', can_retry: false },
    },
    {
        what: 'the secret is missing',
        env: { OIDCAUTH_CLIENT_SECRET: '' },
        expected: { exit_code: 2, kind: 'usage' },
    },
    {
        what: 'the provider is not reached',
        env: { OIDCAUTH_CONFIG_URL: 'http://127.0.0.1:1/' },
        expected: { exit_code: 5, kind: 'not_reached', can_retry: true },
    },
]) {
    test(`says as JSON that ${what}`, async (t) => {
        const service = new Service(t, provider.configUrl);
        const { code, stdout, stderr } = await service.run(['--json', ...args], { env });
        const failure = JSON.parse(stderr);
        assert.deepEqual([code, stdout], [expected.exit_code, '']);
        assert.deepEqual({ ...failure, ...expected }, failure);
    });
}
