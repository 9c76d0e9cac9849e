// The command on Windows, where it differs. Wine runs it.

import assert from 'node:assert/strict';
import { chmodSync, existsSync, mkdirSync, readdirSync, readFileSync, writeFileSync } from 'node:fs';
import { dirname, join } from 'node:path';
import { test } from 'node:test';
import { setTimeout as delay } from 'node:timers/promises';

import { App, Command, Service, visit } from './support/command.mjs';
import { startProvider } from './support/provider.mjs';

const provider = await startProvider(test);
const program = join(dirname(process.env.OIDCAUTH_COMMAND), 'oidcauth_e2e_program.exe');
const windowsPath = (path) => `Z:${path.replaceAll('/', '\\')}`;

/// Waits for a condition that must become true.
async function until(condition, what) {
    for (const end = Date.now() + 10_000; !condition(); await delay(10)) {
        assert.ok(Date.now() < end, `${what} does not come`);
    }
}

function service(t) {
    const command = new Command(t, new Service(t, provider.configUrl).environment);
    const temporary = join(command.stateFolder, '../../../Temp');
    const before = readdirSync(temporary); // perhaps files of a process that was killed
    command.left = () => readdirSync(temporary).filter((name) => !before.includes(name));
    command.exec = (args, ...words) => command.start(['exec', '--service', ...args, '--', ...words]);
    return command;
}

test('a program gets each of its arguments as it was given', async (t) => {
    const command = service(t);
    const words = [
        ...['', 'a b', '\ta', '"', 'a"b', '\\', 'a\\', 'a b\\', 'a\\\\"b', '\\\\"', '"a b"\\'],
        ...['%PATH%', '^&|<>', '*', "'", 'é\u{1f600}', '--', '--json', '-'],
    ];
    const { stdout } = await command.exec([], program, 'show', ...words).result;
    assert.equal(stdout, words.map((word) => `[${word}]`).join(''));
});

test('a program gets the token, no secret, and the rest of the environment', async (t) => {
    const command = service(t);
    command.environment.KEPT = 'é';
    command.environment.TOKEN_A = 'old';
    const names = ['token_A', 'OIDCAUTH_CLIENT_SECRET', 'KEPT'];
    const { stdout } = await command.exec(['--env', 'Token_a'], program, 'variables', ...names).result;
    assert.match(stdout, /^token_A=eyJ[\w.-]+\nOIDCAUTH_CLIENT_SECRET is not set\nKEPT=é\n$/);
});

for (const args of [[], ['--file']]) {
    const inMode = (text) => (args.length > 0 ? `${text}, with a file` : text);

    test(inMode('the program ends the command as it ends'), async (t) => {
        const command = service(t);
        writeFileSync(command.path('batch.cmd'), '@echo run\r\n');
        writeFileSync(command.path('text.exe'), 'no program');
        writeFileSync(command.path('here.exe'), readFileSync(program));
        const failure = /^oidcauth: .+: .+\n$/;
        for (const [words, code, says = code < 126 ? /^$/ : failure] of [
            [[program, '0'], 0],
            [[windowsPath(program).replace(/\.exe$/, ''), '42'], 42],
            [['cmd', '/c', 'exit 7'], 7],
            [['no-such-program'], 127],
            [['here'], 127], // in the current folder, which is not searched
            [['.\\here', '3'], 3],
            [['no\\such\\folder\\program'], 127],
            [['.\\text.exe'], 126],
            ...['batch', 'batch.cmd', 'BATCH.CMD', 'batch.cmd.', 'batch.cmd '].map((name) =>
                [[`.\\${name}`, '"&calc'], 126, / a batch file, which only cmd can run/]),
        ]) {
            const ended = await command.exec(args, ...words).result;
            assert.equal(ended.code, code, `${words}: ${ended.stderr}`);
            assert.match(ended.stderr, says);
            assert.equal(ended.stdout, '');
        }
        assert.deepEqual(command.left(), []);
    });

    test(inMode('Ctrl-C is for the program, which ends with the command'), async (t) => {
        const command = service(t);
        const first = command.exec(args, program, 'wait');
        await first.prints.match(/ready/);
        assert.equal(command.left().length, args.length);
        first.kill('SIGINT'); // to the command alone, which keeps running
        await delay(200);
        assert.equal(first.exitCode, null);
        first.kill('SIGKILL');
        const begun = Date.now();
        assert.equal((await first.result).stdout, 'ready\n'); // both processes have closed it
        assert.ok(Date.now() - begun < 5000, 'the program lives on');
    });
}

test('a program inherits no handle but the standard streams', async (t) => {
    const command = service(t);
    writeFileSync(command.path('secret'), command.environment.OIDCAUTH_CLIENT_SECRET);
    command.environment.OIDCAUTH_CLIENT_SECRET_FILE = command.path('secret');
    const run = (words) =>
        command.run(['exec', '--service', '--', program, 'with-handle', ...words]);
    const own = windowsPath(program);
    const oidcauth = windowsPath(process.env.OIDCAUTH_COMMAND);
    assert.equal((await run([own, 'has-handle'])).code, 1, 'the test does not see it');
    assert.equal((await run([oidcauth, 'exec', '--service', '--', own, 'has-handle'])).code, 0);
});

test('keep replaces its file, also while somebody reads it', async (t) => {
    const short = await startProvider(t, '--access-token-ttl', '4');
    const command = new Command(t, new Service(t, short.configUrl).environment);
    mkdirSync(command.path('kept'));
    const file = command.path('kept', 'token');
    const child = command.start(['keep', windowsPath(file), '--service'], { limit: 60_000 });
    const seen = new Set();
    await until(() => existsSync(file), 'a token');
    while (seen.size < 3) {
        const token = readFileSync(file, 'utf8');
        assert.match(token, /^eyJ[\w-]+\.[\w-]+\.[\w-]{342}$/);
        seen.add(token);
        assert.equal(child.exitCode, null);
        await delay(2);
    }
    child.kill('SIGINT');
    assert.deepEqual(await child.result, { code: 130, stdout: '', stderr: 'oidcauth: interrupted\n' });
    assert.deepEqual(readdirSync(command.path('kept')), ['token']);
    for (const [name, code] of [['kept', 2], ['kept\\', 2], ['missing\\token', 1], [command.path('missing/token'), 1]]) {
        const { code: ended, stderr } = await command.run(['keep', name, '--service']);
        assert.equal(ended, code, stderr);
    }
});

test('the user is asked by the browser of the system', async (t) => {
    const app = await App.make(t, provider.configUrl);
    mkdirSync(app.path('bin'));
    // Wine passes the URL to this script.
    writeFileSync(app.path('bin', 'xdg-open'), `#!/bin/sh\necho "$1" >${app.path('opened')}\n`, { mode: 0o700 });
    const child = app.start(['login'], { env: { PATH: `${app.path('bin')}:${process.env.PATH}` } });
    await until(() => existsSync(app.path('opened')) && readFileSync(app.path('opened'), 'utf8').endsWith('\n'), 'the browser');
    const page = readFileSync(app.path('opened'), 'utf8').trim();
    assert.equal((await child.says.match(/^http.*$/m))[0], page);
    await visit(page);
    assert.equal((await child.result).code, 0);
});

test('paths are those of the system, in any script', async (t) => {
    const command = new Service(t, provider.configUrl);
    const token = await command.succeed();
    assert.match(readdirSync(command.stateFolder).join(' '), /^[\da-f]{32}\.token$/);
    for (const store of ['зона\\token', `${windowsPath(command.home)}\\é\\token`, `${command.home}/b/token`]) {
        assert.match(await command.succeed(['--store', store]), /^eyJ.*\n$/);
    }
    assert.ok(existsSync(command.path('зона', 'token')) && existsSync(command.path('é', 'token')));
    assert.ok(!readFileSync(command.path('é', 'token')).includes(token.slice(0, 20)), 'not encrypted');
});

test('what is not to be had is refused with a reason', async (t) => {
    const command = new Service(t, provider.configUrl);
    provider.requests();
    for (const [args, code, says] of [
        [['--ca-file', 'a.pem'], 2, /^oidcauth: --ca-file: not supported on Windows, .*certutil/],
        [['--keyring'], 6, /^oidcauth: no keyring can be used: /],
    ]) {
        const ended = await command.run(args);
        assert.deepEqual([ended.code, ended.stdout], [code, '']);
        assert.match(ended.stderr, says);
    }
    mkdirSync(command.configFolder);
    const config = join(command.configFolder, 'config.toml');
    writeFileSync(config, '[p]\nclient-id = "c"\n', { mode: 0o666 });
    chmodSync(config, 0o666);
    const ended = await command.run(['--profile', 'p']);
    assert.equal(ended.code, 2);
    assert.match(ended.stderr, /config\.toml: can be written by other users; .*icacls/);
    assert.deepEqual(provider.requests(), []);
});
