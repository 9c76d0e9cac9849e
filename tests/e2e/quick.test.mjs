import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { readFileSync } from 'node:fs';
import test from 'node:test';

import { App, Service } from './support/command.mjs';
import { startProvider } from './support/provider.mjs';

const provider = await startProvider(test);

const missing =
    spawnSync('strace', ['-qq', '-o', '/dev/null', 'true']).status !== 0 &&
    !process.env.CI &&
    'strace is not installed, or may not trace';

/// The threads that a call creates, and the files that it opens, except libraries.
async function trace(command, args) {
    const log = command.path('trace');
    const launcher = ['strace', '-f', '-qq', '-y', '-e', 'trace=/^(open|creat|clone)', '-o', log];
    await command.succeed(args, { launcher });
    const calls = readFileSync(log, 'utf8').split('\n');
    const opened = calls.flatMap((call) => call.match(/ = \d+<(.*)>$/)?.[1] ?? []);
    return {
        threads: calls.filter((call) => /^\d+ +clone3?\(/.test(call)).length,
        files: opened.filter((file) => !/\.so($|\.)/.test(file)),
    };
}

test('a stored token makes next to no thread and opens nothing but its file', { skip: missing }, async (t) => {
    const app = await App.make(t, provider.configUrl);
    assert.equal((await app.signIn()).code, 0);
    const service = new Service(t, provider.configUrl);
    await service.succeed([]);
    provider.requests();
    for (const { command, args, threads } of [
        { command: app, args: ['token'], threads: 0 },
        { command: app, args: ['id-token'], threads: 0 },
        { command: service, args: [], threads: 1 },
    ]) {
        const seen = await trace(command, args);
        assert.equal(seen.threads, threads, args.join());
        assert.ok(seen.files.some((file) => file.endsWith('.token')));
        const folder = command.stateFolder;
        assert.deepEqual(seen.files.filter((file) => !file.startsWith(folder)), []);
    }
    assert.deepEqual(provider.requests(), []);
});
