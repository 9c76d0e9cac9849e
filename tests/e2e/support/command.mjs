// Runs the command under test as a user with their own home and environment.

import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir, userInfo } from 'node:os';
import { join } from 'node:path';

import { freePort } from './ports.mjs';

/// The secret of the provider's client demo-service; a client must encode most of these characters.
export const secret = 's3cret/+:=&% ~"demo"';

const command = process.env.OIDCAUTH_COMMAND;
/// Wine runs it then.
export const isWindows = command.endsWith('.exe');
/// The options for a test of features that Windows does not have, or Wine does not show.
export const onLinux = { skip: isWindows && 'of Linux' };
const signInScript = join(process.env.OIDCAUTH_SOURCE_DIR, 'demo/provider/sign-in.mjs');

/// Kills a hanging command. Exchanges end by themselves after 30 s, so a test fails well before
/// that.
const usualLimit = 20_000;

/// No variables of the caller are passed on, least of all proxies, except those of sanitizers.
export function inherited() {
    const wanted = ([name]) => name === 'PATH' || /^[A-Z]+SAN_OPTIONS$|^WINE/.test(name);
    const variables = Object.fromEntries(Object.entries(process.env).filter(wanted));
    // When a process ends, tasks queued in the HTTP library's pool are not freed.
    variables.ASAN_OPTIONS = `${variables.ASAN_OPTIONS ?? ''}:detect_leaks=0`;
    return variables;
}

/// An empty folder that is removed after the test, or after the file's tests if `t` is the hook
/// itself.
export function temporaryFolder(t) {
    const folder = mkdtempSync(join(tmpdir(), 'oidcauth-e2e-'));
    t.after(() => rmSync(folder, { recursive: true, force: true }));
    return folder;
}

/// The output of a process, as it arrives.
export class Transcript {
    #stream;
    #text = '';

    constructor(stream) {
        this.#stream = stream;
        stream.setEncoding('utf8').on('data', (chunk) => {
            this.#text += chunk;
            stream.emit('grown');
        });
        this.whole = once(stream, 'close').then(() => this.#text);
    }

    /// Waits for a match and returns it.
    async match(pattern) {
        for (;;) {
            const found = this.#text.match(pattern);
            if (found) {
                return found;
            }
            assert.ok(!this.#stream.closed, `${pattern} is not in: ${this.#text}`);
            await Promise.race([once(this.#stream, 'grown'), this.whole]);
        }
    }
}

/// Runs `oidcauth` in its own home. Arguments and environment are added to this object's;
/// `undefined` removes a variable.
export class Command {
    constructor(t, environment) {
        this.home = temporaryFolder(t);
        this.environment = { ...inherited(), HOME: this.home, ...environment };
        this.stateFolder = this.path('.local/state/oidcauth');
        this.configFolder = this.path('.config/oidcauth');
        if (isWindows) {
            this.#useWine(t);
        }
    }

    /// Wine has one set of user folders for all its programs, so only one test uses them at a time.
    #useWine(t) {
        const { WINEPREFIX } = this.environment;
        const folder = (name) =>
            join(WINEPREFIX, 'drive_c/users', userInfo().username, 'AppData', name, 'oidcauth');
        this.stateFolder = folder('Local');
        this.configFolder = folder('Roaming');
        this.environment.LC_ALL = 'C.UTF-8'; // needed to read the arguments
        t.after(() => {
            rmSync(this.stateFolder, { recursive: true, force: true });
            rmSync(this.configFolder, { recursive: true, force: true });
        });
    }

    /// A path as the command shows it.
    shown(path) {
        const root = join(this.environment.WINEPREFIX ?? '', 'drive_c');
        return isWindows ? path.replace(root, 'C:').replaceAll('/', '\\') : path;
    }

    path(...names) {
        return join(this.home, ...names);
    }

    /// Returns the process, with its standard output as `prints` and its standard error as `says`,
    /// and a promise of its end. `launcher` is a command that runs the arguments after its own; an
    /// `input` of null leaves standard input open; a long test sets its own `limit`.
    start(args, { env = {}, input = '', launcher = [], limit = usualLimit } = {}) {
        const [file, ...rest] = [...launcher, ...(isWindows ? ['wine'] : []), command, ...args];
        const child = spawn(file, rest, {
            cwd: this.home,
            env: { ...this.environment, ...env },
            timeout: limit,
            killSignal: 'SIGKILL',
        });
        child.stdin.on('error', () => {}); // it need not read input that it does not want
        if (input !== null) {
            child.stdin.end(input);
        }
        child.prints = new Transcript(child.stdout);
        child.says = new Transcript(child.stderr);
        child.result = Promise.all([once(child, 'close'), child.prints.whole, child.says.whole])
            .then(([[code, signal], stdout, stderr]) => ({ code: code ?? signal, stdout, stderr }));
        return child;
    }

    run(args, options) {
        return this.start(args, options).result;
    }

    async succeed(args, options) {
        const { code, stdout, stderr } = await this.run(args, options);
        assert.equal(code, 0, stderr);
        return stdout;
    }
}

/// Runs `oidcauth service-token` as the provider's client demo-service.
export class Service extends Command {
    constructor(t, configUrl) {
        super(t, {
            OIDCAUTH_CONFIG_URL: configUrl,
            OIDCAUTH_CLIENT_ID: 'demo-service',
            OIDCAUTH_SCOPES: 'api:read',
            OIDCAUTH_CLIENT_SECRET: secret,
        });
    }

    start(args = [], options) {
        return super.start(['service-token', ...args], options);
    }
}

/// Runs `oidcauth` as the provider's client demo-app, for a user without a browser.
export class App extends Command {
    static async make(t, configUrl) {
        return new App(t, configUrl, `http://127.0.0.1:${await freePort()}/callback`);
    }

    constructor(t, configUrl, redirectUrl) {
        super(t, {
            OIDCAUTH_CONFIG_URL: configUrl,
            OIDCAUTH_CLIENT_ID: 'demo-app',
            OIDCAUTH_SCOPES: 'openid api:read',
            OIDCAUTH_REDIRECT_URL: redirectUrl,
        });
    }

    /// Starts the command and waits until it waits for the user: returns the process, with the page
    /// to open as its `page`.
    async startSignIn(args, options) {
        const child = this.start([...args, '--no-browser'], options);
        [child.page] = await child.says.match(/^http.*$/m);
        return child;
    }

    /// Runs the command with a user who signs in, and returns its end.
    async signIn(args = ['login'], ...user) {
        const child = await this.startSignIn(args);
        await visit(child.page, ...user);
        return child.result;
    }
}

/// The user's part in the browser: signs in and consents as `--user NAME`, or refuses with
/// `--deny`.
export async function visit(page, ...user) {
    const child = spawn(process.execPath, [signInScript, ...user, page], { stdio: 'ignore' });
    await once(child, 'exit');
}
