// The command under test, run as a user with a home and an environment of their own.

import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { text } from 'node:stream/consumers';

/// Of the provider's client demo-service; a client must encode most of these characters.
export const secret = 's3cret/+:=&% ~"demo"';

const command = process.env.OIDCAUTH_COMMAND;

/// Kills what hangs. Exchanges end by themselves after 30 s, so a test fails well before that.
const limit = 20_000;

/// Nothing of the caller's gets in, proxies least of all, but what sanitizers are told.
export function inherited() {
    const wanted = ([name]) => name === 'PATH' || /^[A-Z]+SAN_OPTIONS$/.test(name);
    const variables = Object.fromEntries(Object.entries(process.env).filter(wanted));
    // What the HTTP library's pool still has queued when a process ends is not freed.
    variables.ASAN_OPTIONS = `${variables.ASAN_OPTIONS ?? ''}:detect_leaks=0`;
    return variables;
}

/// An empty folder that ends with the test, or with the file's tests where `t` is the hook itself.
export function temporaryFolder(t) {
    const folder = mkdtempSync(join(tmpdir(), 'oidcauth-e2e-'));
    t.after(() => rmSync(folder, { recursive: true, force: true }));
    return folder;
}

/// Runs `oidcauth service-token`, told everything by its environment; arguments and a further
/// environment come on top, where `undefined` takes a variable away.
export class Service {
    constructor(t, configUrl) {
        this.home = temporaryFolder(t);
        this.environment = {
            ...inherited(),
            HOME: this.home,
            OIDCAUTH_CONFIG_URL: configUrl,
            OIDCAUTH_CLIENT_ID: 'demo-service',
            OIDCAUTH_SCOPES: 'api:read',
            OIDCAUTH_CLIENT_SECRET: secret,
        };
    }

    path(...names) {
        return join(this.home, ...names);
    }

    /// Gives the process, with a promise of how it ended. `launcher` is a command that ends in
    /// running the arguments behind its own.
    start(args = [], { env = {}, input = '', launcher = [] } = {}) {
        const [file, ...rest] = [...launcher, command, 'service-token', ...args];
        const child = spawn(file, rest, {
            cwd: this.home,
            env: { ...this.environment, ...env },
            timeout: limit,
            killSignal: 'SIGKILL',
        });
        child.stdin.on('error', () => {}); // it need not read what it did not ask for
        child.stdin.end(input);
        child.result = Promise.all([once(child, 'close'), text(child.stdout), text(child.stderr)])
            .then(([[code, signal], stdout, stderr]) => ({ code: code ?? signal, stdout, stderr }));
        return child;
    }

    run(args, options) {
        return this.start(args, options).result;
    }
}
