import assert from 'node:assert/strict';
import { readdirSync, readFileSync } from 'node:fs';
import test from 'node:test';

import { Command, Service, isWindows, onLinux, secret } from './support/command.mjs';

// Nothing listens there: a command that gets as far as a request ends with 5.
const configUrl = 'http://127.0.0.1:1/';

for (const { command = 'service-token', args = [], env, says } of [
    { args: ['--client-secret', secret], says: /--client-secret\b/ },
    { args: [`--client-secret=${secret}`], says: /--client-secret\b/ },
    { args: [`--client-secret ${secret}`], says: /unexpected: --client-secret\n/ },
    { args: [`--client-secret-stdin=${secret}`], says: /client-secret-stdin/ },
    { args: [`--json=${secret}`], says: /json/ },
    { args: ['--no\x1b[31m'], says: /unexpected: --no\n/ },
    { args: [secret], says: /unexpected/ },
    { args: ['--client-secret-file', secret], says: /--client-secret-file/ },
    { args: ['--client-secret-file', '/dev/zero'], says: /--client-secret-file: too long/ },
    { args: ['--client-secret-env', secret], says: /--client-secret-env/ },
    { args: ['--client-secret-stdin', '--client-secret-file', 'f'], says: /at most 1/i },
    { args: ['--min-validity', '-1'], says: /--min-validity/ },
    { args: ['--min-validity', secret], says: /--min-validity/ },
    { args: ['--min-validity', '4294967296'], says: /--min-validity/ },
    { args: ['--client-id'], says: /--client-id/ },
    { args: ['', '--keyring'], says: /empty/ },
    { args: ['--output', secret], says: /--output/ },
    { args: ['--output', 'header', '--json'], says: /--json and --output/ },
    ...['{', '[]', '{"apiVersion":1}', '{"apiVersion":"client.authentication.k8s.io/v1alpha1"}'].map((info) => ({
        args: ['--output', 'exec-credential'],
        env: { KUBERNETES_EXEC_INFO: info },
        says: /KUBERNETES_EXEC_INFO/,
    })),
    { args: ['--', 'true'], says: /only exec/ },
    { command: 'exec', args: ['--service'], says: /no program .*--/ },
    { command: 'exec', args: ['--service', '--'], says: /no program .*--/ },
    { command: 'exec', args: ['--service', '--id-token', '--', 'true'], says: /--id-token/ },
    { command: 'exec', args: ['--client-secret-stdin', '--', 'true'], says: /--service/ },
    ...[secret, '1a', 'a=b', 'a-b'].map((name) => ({
        command: 'exec',
        args: ['--service', '--env', name, '--', 'true'],
        says: /--env: not the name of an environment variable/,
    })),
    { command: 'keep', args: ['--service'], says: /FILE/ },
    { args: ['--scopes', ''], says: /empty/ },
    { env: { OIDCAUTH_SCOPES: undefined }, says: /--scopes is required/ },
    { args: ['--scopes', ' '], says: /--scopes/ },
    { env: { OIDCAUTH_CONFIG_URL: undefined }, says: /--config-url is required, or a profile/ },
    { args: ['--config-url', 'id.example'], says: /--config-url: .*https/ },
    { args: ['--config-url', 'ftp://id.example/'], says: /--config-url: .*https/ },
    { args: ['--config-url', 'https:///path'], says: /--config-url: .*host/ },
    { args: ['--config-url', `http://${secret}/`], says: /--config-url: .*URL/ },
    { env: { http_proxy: 'socks5://127.0.0.1:1080' }, says: /http_proxy.*socks5/ },
    ...(isWindows ? [] : [{ env: { HOME: undefined }, says: /--store/ }]),
    { command: 'login', args: ['--redirect-url', 'https://127.0.0.1/'], says: /--redirect-url.*http,/ },
    {
        command: 'login',
        args: ['--authorization-parameter', `client_secret=${secret}`],
        says: /--authorization-parameter: .*client_secret\n/,
    },
    { command: 'login', args: ['--authorization-parameter', `=${secret}`], says: /must be NAME=VALUE\n/ },
    { command: 'login', args: ['--authorization-parameter', 'name'], says: /must be NAME=VALUE\n/ },
    {
        command: 'login',
        args: ['--prompt', 'login', '--authorization-parameter', `prompt=${secret}`],
        says: /--authorization-parameter: prompt /,
    },
    { command: 'status', env: { OIDCAUTH_CLIENT_ID: undefined }, says: /--client-id.*--store/ },
    { command: 'provider', args: ['--for', 'people'], says: /--for/ },
    { command: 'profiles', args: ['--names', '--json'], says: /excludes/ },
]) {
    const changes = Object.entries(env ?? {}).map((pair) => pair.join('='));
    test(`refuses ${[command, ...args, ...changes].join(' ')}`, async (t) => {
        const { environment } = new Service(t, configUrl);
        const { code, stdout, stderr } = await new Command(t, environment).run([command, ...args], { env });
        assert.equal(code, 2, stderr);
        assert.equal(stdout, '');
        assert.match(stderr, says);
        assert.match(stderr, /^(oidcauth: |\{"error":)/);
        assert.ok(!stderr.includes(secret), 'who reads the log learns the secret');
    });
}

for (const { name, args, before = '', to, code } of [
    { name: 'help that cannot be written', args: ['--help'], to: '>/dev/full', code: 1 },
    // The pipe's reader has gone before the command starts.
    { name: 'help into a closed pipe', args: ['--help'], before: 'exec 3> >(:); wait $!;', to: '>&3', code: 1 },
    { name: 'a version that nobody takes', args: ['--version'], to: '>&-', code: 1 },
    { name: 'a log that nobody takes', args: ['token', '-vv'], to: '>&- 2>&-', code: 3 },
    { name: 'no standard stream at all', args: ['token'], to: '<&- >&- 2>&-', code: 3 },
]) {
    test(`${name} does harm to nothing else`, onLinux, async (t) => {
        const { environment } = new Service(t, configUrl);
        const command = new Command(t, environment);
        const launcher = ['/bin/bash', '-c', `${before} exec "$@" ${to}`, 'bash'];
        const ended = await command.run(args, { launcher, env: { XDG_STATE_HOME: command.home } });
        assert.equal(ended.code, code, ended.stderr);
        assert.match(ended.stderr, code === 1 ? /^oidcauth: cannot write the output: / : /^$/);
        for (const file of code === 3 ? readdirSync(command.path('oidcauth')) : []) {
            assert.equal(readFileSync(command.path('oidcauth', file), 'utf8'), '', file);
        }
    });
}

// For root the limit of processes does not apply.
const nobody = process.getuid?.() === 0 ? ['setpriv', '--reuid', '65534', '--clear-groups'] : [];
const fewFiles = (count) => ({ name: `${count} files`, launcher: ['prlimit', `--nofile=${count}`] });

for (const { name, launcher, command = 'token', says = /ulimit -n/ } of [
    ...[4, 5, 8, 12, 20, 34].map(fewFiles),
    {
        name: 'few threads',
        launcher: [...nobody, 'prlimit', '--nproc=20'],
        command: 'provider', // it needs no file, and so no user who may write
        says: /ulimit -u/,
    },
]) {
    test(`${name} do not suffice, which is not the provider's fault`, onLinux, async (t) => {
        const { environment } = new Service(t, configUrl);
        const { code, stderr } = await new Command(t, environment).run([command], { launcher });
        assert.equal(code, 1, stderr);
        assert.match(stderr, says);
    });
}
