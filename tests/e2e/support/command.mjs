// The command under test, run as a user with a home and an environment of their own.

import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir, userInfo } from 'node:os';
import { join } from 'node:path';

import { freePort } from './ports.mjs';

/// Of the provider's client demo-service; a client must encode most of these characters.
export const secret = 's3cret/+:=&% ~"demo"';

const command = process.env.OIDCAUTH_COMMAND;
/// Then Wine runs it.
export const isWindows = command.endsWith('.exe');
/// The options of a test of what Windows does not have, or Wine does not show.
export const onLinux = { skip: isWindows && 'of Linux' };
const signInScript = join(process.env.OIDCAUTH_SOURCE_DIR, 'demo/provider/sign-in.mjs');

/// Kills what hangs. Exchanges end by themselves after 30 s, so a test fails well before that.
const usualLimit = 20_000;

/// Nothing of the caller's gets in, proxies least of all, but what sanitizers are told.
export function inherited() {
    const wanted = ([name]) => name === 'PATH' || /^[A-Z]+SAN_OPTIONS$|^WINE/.test(name);
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

/// What a process writes, as it comes.
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

    /// The match, once there is one.
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

/// Runs `oidcauth` in a home of its own; arguments and a further environment come on top of this
/// one, where `undefined` takes a variable away.
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

    /// Wine has the user's folders where all its programs find them: one test uses them at a time.
    #useWine(t) {
        const { WINEPREFIX } = this.environment;
        const folder = (name) =>
            join(WINEPREFIX, 'drive_c/users', userInfo().username, 'AppData', name, 'oidcauth');
        this.stateFolder = folder('Local');
        this.configFolder = folder('Roaming');
        this.environment.LC_ALL = 'C.UTF-8'; // by which it reads the arguments
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

    /// Gives the process, with what it `prints` on standard output and `says` on standard error,
    /// and a promise of how it ended. `launcher` is a command that ends in running the arguments
    /// behind its own; an `input` of null leaves standard input open; what takes its time has a
    /// `limit` of its own.
    start(args, { env = {}, input = '', launcher = [], limit = usualLimit } = {}) {
        const [file, ...rest] = [...launcher, ...(isWindows ? ['wine'] : []), command, ...args];
        const child = spawn(file, rest, {
            cwd: this.home,
            env: { ...this.environment, ...env },
            timeout: limit,
            killSignal: 'SIGKILL',
        });
        child.stdin.on('error', () => {}); // it need not read what it did not ask for
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

    /// The command once it waits for the user: the process, and the page to open as its `page`.
    async startSignIn(args, options) {
        const child = this.start([...args, '--no-browser'], options);
        [child.page] = await child.says.match(/^http.*$/m);
        return child;
    }

    /// How the command ended that a user's sign-in has answered.
    async signIn(args = ['login'], ...user) {
        const child = await this.startSignIn(args);
        await visit(child.page, ...user);
        return child.result;
    }
}

/// What a user does in the browser: signs in and consents, as `--user NAME`, or refuses by
/// `--deny`.
export async function visit(page, ...user) {
    const child = spawn(process.execPath, [signInScript, ...user, page], { stdio: 'ignore' });
    await once(child, 'exit');
}
