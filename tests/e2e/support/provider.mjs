// Runs the demo's provider as a process that ends with the tests.

import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { readFileSync } from 'node:fs';
import { join } from 'node:path';
import { createInterface } from 'node:readline';
import { text } from 'node:stream/consumers';

import { temporaryFolder } from './command.mjs';

const script = join(process.env.OIDCAUTH_SOURCE_DIR, 'demo/provider/provider.mjs');

/// `t` is the test, or the module node:test for all tests of a file.
export async function startProvider(t, ...options) {
    const log = join(temporaryFolder(t), 'requests.jsonl');
    const args = [script, '--exit-with-stdin', '--log', log, ...options];
    const child = spawn(process.execPath, args);
    const ended = once(child, 'exit');
    const notices = text(child.stderr);
    const stop = async () => {
        child.stdin.end();
        await ended;
    };
    t.after(stop);
    const [line] = await Promise.race([
        once(createInterface(child.stdout), 'line'),
        ended.then(async ([code]) => {
            throw new Error(`the provider ended with ${code}: ${await notices}`);
        }),
    ]);
    let seen = 0;
    return {
        configUrl: line.replace(/^READY /, ''),
        stop,
        /// Until it is resumed it does not answer.
        pause: () => child.kill('SIGSTOP'),
        resume: () => child.kill('SIGCONT'),
        /// The entries of its log since the last call.
        requests() {
            const lines = readFileSync(log, 'utf8').split('\n').filter(Boolean);
            const fresh = lines.slice(seen).map(JSON.parse);
            seen = lines.length;
            return fresh;
        },
    };
}
