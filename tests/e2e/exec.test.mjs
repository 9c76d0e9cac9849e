import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { mkdirSync, readdirSync } from 'node:fs';
import test from 'node:test';

import { App, Command, Service } from './support/command.mjs';
import { startProvider } from './support/provider.mjs';

const provider = await startProvider(test);

/// A service that requests a new token with each call, so that there are connections and threads.
function service(t) {
    const { environment } = new Service(t, provider.configUrl);
    const command = new Command(t, { ...environment, OIDCAUTH_MIN_VALIDITY: '61' });
    mkdirSync(command.path('run'), { mode: 0o700 });
    command.environment.XDG_RUNTIME_DIR = command.path('run');
    command.exec = (args, program, options) =>
        command.start(['exec', '--service', ...args, '--', ...program], options);
    command.left = () => readdirSync(command.path('run'));
    return command;
}

const shell = (script, ...args) => ['sh', '-c', script, 'sh', ...args];

for (const args of [[], ['--file']]) {
    const inMode = (text) => (args.length > 0 ? `${text}, with a file` : text);

    test(inMode('the program ends the command as it ends'), async (t) => {
        const command = service(t);
        for (const [program, code] of [
            [shell('exit 0'), 0],
            [shell('exit 42'), 42],
            [shell('kill -TERM $$'), 'SIGTERM'],
            [shell('kill -KILL $$'), 'SIGKILL'],
            [['no-such-program'], 127],
            [['/etc/passwd/x'], 127],
            [['/etc/passwd'], 126],
            [['/'], 126],
        ]) {
            const ended = await command.exec(args, program).result;
            assert.equal(ended.code, code, program.join(' '));
            assert.match(ended.stderr, code === 127 || code === 126 ? /^oidcauth: .+: .+\n$/ : /^$/);
        }
        assert.deepEqual(command.left(), []);
    });

    test(inMode('the program has the token, its arguments, and no secret'), async (t) => {
        const command = service(t);
        const env = { OTHER_SECRET: command.environment.OIDCAUTH_CLIENT_SECRET, OIDCAUTH_ACCESS_TOKEN: 'old' };
        for (const { more = [], variable = args.length > 0 ? 'OIDCAUTH_ACCESS_TOKEN_FILE' : 'OIDCAUTH_ACCESS_TOKEN' } of [
            {},
            { more: ['--env', '_My2'], variable: '_My2' },
            { more: ['--client-secret-env', 'OTHER_SECRET'] },
        ]) {
            const script = `printf '[%s]' "$@"; [ -z "$OIDCAUTH_CLIENT_SECRET" ] || echo leaked
                value=$${variable}; [ ! -f "$value" ] || { stat -c %a "$value"; value=$(cat "$value"); }; echo $value
                ${more.length > 0 && !more.includes('--env') ? 'echo $OTHER_SECRET' : ''}`;
            const { code, stdout, stderr } = await command.exec(
                [...args, ...more],
                shell(script, '', '--', '--json', 'a b'),
                { env },
            ).result;
            assert.equal(code, 0, stderr);
            const expected = `^\\[\\]\\[--\\]\\[--json\\]\\[a b\\]${args.length > 0 ? '600\n' : ''}eyJ[\\w.-]+\n\n?$`;
            assert.match(stdout, new RegExp(expected));
        }
    });

    const look = `for f in /proc/self/fd/*; do [ -e $f ] && echo \${f##*/}; done
        sed -n '/SigBlk\\|SigIgn/p' /proc/self/status`;
    for (const setting of ['', 'exec 5</dev/null 9</dev/null;', 'exec <&-;', 'exec 2>&-;', 'trap "" PIPE XFSZ INT TERM CHLD;']) {
        test(inMode(`the program inherits what it would by itself: ${setting}`), async (t) => {
            const command = service(t);
            const launcher = ['/bin/bash', '-c', `${setting} exec "$@"`, 'bash'];
            const program = ['/bin/bash', '-c', look];
            const { code, stdout } = await command.exec(args, program, { launcher }).result;
            assert.equal(code, 0);
            const alone = spawnSync(launcher[0], [...launcher.slice(1), ...program], { stdio: 'pipe' });
            assert.equal(stdout, alone.stdout.toString());
        });
    }

    // ThreadSanitizer delays signals while the command waits for the program.
    const skip = args.length > 0 && Boolean(process.env.TSAN_OPTIONS);
    test(inMode('signals reach the program'), { skip }, async (t) => {
        const command = service(t);
        for (const signal of ['SIGTERM', 'SIGINT', 'SIGHUP', 'SIGQUIT', 'SIGUSR1', 'SIGUSR2', 'SIGWINCH']) {
            const script = `trap 'echo got; exit 5' ${signal.slice(3)}; echo ready
                for i in $(seq 500); do sleep 0.02; done`;
            const child = command.exec(args, shell(script));
            await child.prints.match(/ready/);
            assert.equal(command.left().length, args.length);
            child.kill(signal);
            assert.deepEqual(await child.result, { code: 5, stdout: 'ready\ngot\n', stderr: '' }, signal);
        }
        assert.deepEqual(command.left(), []);
    });
}

test('the program takes the place of the command', async (t) => {
    const child = service(t).exec([], shell('echo $$'));
    assert.equal((await child.result).stdout, `${child.pid}\n`);
});

test('a token that cannot be had starts no program', async (t) => {
    const app = await App.make(t, provider.configUrl);
    const ended = await app.run(['exec', '--', 'echo', 'started']);
    assert.deepEqual([ended.code, ended.stdout], [3, ''], ended.stderr);
});

test('a user has one of two tokens, and nobody holds the lock', async (t) => {
    const app = await App.make(t, provider.configUrl);
    assert.equal((await app.signIn()).code, 0);
    for (const [args, variable, command] of [
        [[], 'OIDCAUTH_ACCESS_TOKEN', 'token'],
        [['--id-token'], 'OIDCAUTH_ID_TOKEN', 'id-token'],
    ]) {
        // Both of them refresh it.
        const script = `echo $${variable}; exec "$0" ${command} --min-validity 61`;
        const program = ['sh', '-c', script, process.env.OIDCAUTH_COMMAND];
        const stdout = await app.succeed(['exec', '--min-validity', '61', ...args, '--', ...program]);
        const [mine, next] = stdout.trim().split('\n');
        assert.match(mine, /^eyJ/);
        assert.ok(command === 'id-token' || next !== mine);
        assert.equal(await app.succeed([command]), `${next}\n`);
    }
});
