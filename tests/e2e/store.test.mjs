import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import {
    chmodSync,
    existsSync,
    mkdirSync,
    readdirSync,
    readFileSync,
    renameSync,
    statSync,
    symlinkSync,
    writeFileSync,
} from 'node:fs';
import { join } from 'node:path';
import test from 'node:test';

import { Service } from './support/command.mjs';
import { startProvider } from './support/provider.mjs';

const provider = await startProvider(test);

const mode = (path) => (statSync(path).mode & 0o777).toString(8);

/// A service that has stored a token at store/token in its home.
async function served(t) {
    const service = new Service(t, provider.configUrl);
    service.args = ['--store', service.path('store', 'token')];
    assert.equal((await service.run(service.args)).code, 0);
    provider.requests();
    return service;
}

test('the usual place is private and below XDG_STATE_HOME, or HOME', async (t) => {
    for (const { state, folder } of [
        { state: () => undefined, folder: '.local/state/oidcauth' },
        { state: () => 'relative', folder: '.local/state/oidcauth' },
        { state: (home) => join(home, 'state'), folder: 'state/oidcauth' },
    ]) {
        const service = new Service(t, provider.configUrl);
        const env = { XDG_STATE_HOME: state(service.home) };
        assert.equal((await service.run([], { env })).code, 0);
        const [file, ...others] = readdirSync(service.path(folder));
        assert.deepEqual(others, []);
        assert.deepEqual(
            [mode(service.path(folder)), mode(service.path(folder, file))],
            ['700', '600'],
        );
    }
});

for (const { name, spoil } of [
    { name: 'a file that others may read', spoil: (file) => chmodSync(file, 0o640) },
    { name: 'a folder that others may enter', spoil: (_, folder) => chmodSync(folder, 0o711) },
    {
        name: 'a link to a file',
        spoil(file) {
            renameSync(file, `${file}.real`);
            symlinkSync(`${file}.real`, file);
        },
    },
    {
        name: 'a link to a folder',
        spoil(_, folder) {
            renameSync(folder, `${folder}.real`);
            symlinkSync(`${folder}.real`, folder);
        },
    },
    {
        name: 'a folder in place of the file',
        spoil(file) {
            renameSync(file, `${file}.real`);
            mkdirSync(file, 0o700);
        },
    },
    {
        name: 'a file in place of the folder',
        spoil(_, folder) {
            renameSync(folder, `${folder}.real`);
            writeFileSync(folder, '');
        },
    },
]) {
    test(`${name} is refused before the provider is asked`, async (t) => {
        const service = await served(t);
        spoil(service.path('store', 'token'), service.path('store'));
        const args = [...service.args, '--scopes', 'api:write'];
        const { code, stdout, stderr } = await service.run(args);
        assert.deepEqual([code, stdout], [6, ''], stderr);
        assert.ok(stderr.includes(service.path('store')), stderr);
        assert.deepEqual(provider.requests(), []);
    });
}

test('a token that cannot be written is not printed, and the old one stays', async (t) => {
    const service = await served(t);
    const before = readFileSync(service.path('store', 'token'));
    // A file size limit of 0 fails like a full disk; its signal would end the process.
    const launcher = ['/bin/sh', '-c', 'trap "" XFSZ; ulimit -f 0; exec "$@"', 'sh'];
    const args = [...service.args, '--scopes', 'api:write'];
    const { code, stdout, stderr } = await service.run(args, { launcher });
    assert.deepEqual([code, stdout], [6, ''], stderr);
    assert.equal(provider.requests().length, 2);
    assert.deepEqual(readdirSync(service.path('store')), ['token']);
    assert.deepEqual(readFileSync(service.path('store', 'token')), before);
});

test('eight processes share a store', async (t) => {
    const service = new Service(t, provider.configUrl);
    const args = ['--store', service.path('made', 'at', 'once', 'token')];
    const results = await Promise.all(Array.from({ length: 8 }, () => service.run(args)));
    for (const { code, stderr } of results) {
        assert.equal(code, 0, stderr);
    }
    provider.requests();
    const { stdout } = await service.run(args);
    assert.deepEqual(provider.requests(), [], 'the store holds a token');
    assert.ok(results.some((result) => result.stdout === stdout));
    assert.deepEqual(readdirSync(service.path('made', 'at', 'once')), ['token']);
});

const missingKeyring =
    ['dbus-run-session', 'gnome-keyring-daemon'].some((file) => spawnSync(file, ['--version']).error) &&
    !process.env.CI &&
    'dbus-daemon or gnome-keyring is not installed';

test('the keyring keeps a token in place of a file', { skip: missingKeyring }, async (t) => {
    const service = new Service(t, provider.configUrl);
    const unlock = 'printf secret | gnome-keyring-daemon --unlock --components=secrets >&2';
    const options = {
        env: {
            XDG_RUNTIME_DIR: service.home,
            // GLib is not instrumented: the sanitizer does not see how its threads synchronize.
            TSAN_OPTIONS: `${process.env.TSAN_OPTIONS ?? ''}:ignore_noninstrumented_modules=1`,
        },
        launcher: ['dbus-run-session', '--', '/bin/sh', '-c', `${unlock} && exec "$@"`, 'sh'],
    };
    const token = await service.succeed(['--keyring'], options);
    provider.requests();
    assert.equal(await service.succeed(['--keyring'], options), token);
    assert.deepEqual(provider.requests(), []);
    assert.ok(!existsSync(service.path('.local/state')));

    const { code, stderr } = await service.run(['--keyring']);
    assert.equal(code, 6, stderr);
});
