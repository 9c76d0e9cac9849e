// A user's browser: Chromium, started by the program that opens it.

import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import {
    existsSync,
    mkdirSync,
    mkdtempSync,
    readFileSync,
    rmSync,
    watch,
    writeFileSync,
} from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { setTimeout as delay } from 'node:timers/promises';
import { pathToFileURL } from 'node:url';

const source = join(process.env.OIDCAUTH_SOURCE_DIR, 'demo/provider/chromium.mjs');
const chromium = await import(pathToFileURL(source));

export const { enter, lastWords, press } = chromium;

/// The reason to skip tests with a browser, or false. CI never skips them.
export const missingBrowser = !process.env.CI && chromium.missingChromium;

const contentOf = (file) => (existsSync(file) ? readFileSync(file, 'utf8') : '');
const quoted = (word) => `'${word.replaceAll("'", `'\\''`)}'`;

/// Other processes of Chromium may still write there for a short time.
async function remove(folder) {
    for (;;) {
        try {
            rmSync(folder, { recursive: true });
            return;
        } catch (error) {
            assert.equal(error.code, 'ENOTEMPTY');
            await delay(10);
        }
    }
}

/// Ends with the test.
export class Browser {
    #profile;
    #pidFile;

    /// `authority` is a PEM file that its user trusts, `flags` are further flags.
    constructor(t, { authority, flags = [] } = {}) {
        const folder = mkdtempSync(join(tmpdir(), 'oidcauth-e2e-browser-'));
        this.#profile = join(folder, 'profile');
        this.#pidFile = join(folder, 'pid');
        /// For the environment variable BROWSER.
        this.command = join(folder, 'browser');
        mkdirSync(this.#profile);
        const words = [
            chromium.executable,
            ...['--headless', '--no-first-run', '--disable-gpu', '--disable-dev-shm-usage'],
            ...[`--user-data-dir=${this.#profile}`, '--remote-debugging-port=0'],
            ...chromium.flags,
            ...flags,
        ];
        const script = [
            '#!/bin/sh',
            `export HOME=${quoted(folder)}`,
            `echo $$ >${quoted(this.#pidFile)}`,
            `exec ${words.map(quoted).join(' ')} "$@"`,
        ];
        writeFileSync(this.command, `${script.join('\n')}\n`, { mode: 0o700 });
        if (authority) {
            this.#trust(join(folder, '.pki/nssdb'), authority);
        }
        t.after(async () => {
            await this.close();
            await remove(folder);
        });
    }

    /// Its tab, once `child` has opened it; fails if `child` ends without opening one.
    async tab(child) {
        const ended = child.result.then(({ code, stderr }) => {
            throw new Error(`ended with ${code} and opened no browser: ${stderr}`);
        });
        const browser = await chromium.connect(await Promise.race([this.#debugger(), ended]));
        const [context] = browser.contexts();
        return context.pages()[0] ?? context.waitForEvent('page');
    }

    /// It uses neither the system's authorities nor SSL_CERT_FILE.
    #trust(database, authority) {
        const certutil = (...args) => execFileSync('certutil', [...args, '-d', `sql:${database}`]);
        mkdirSync(database, { recursive: true });
        certutil('-N', '--empty-password');
        certutil('-A', '-n', 'authority', '-t', 'C,,', '-i', authority);
    }

    /// The address of its control interface, which Chromium writes to a file.
    #debugger() {
        const file = join(this.#profile, 'DevToolsActivePort');
        return new Promise((resolve) => {
            const look = () => {
                const found = contentOf(file).match(/^(\d+)\n(\/devtools\/browser\/[\da-f-]{36})$/);
                if (found) {
                    watcher.close();
                    resolve(`ws://127.0.0.1:${found[1]}${found[2]}`);
                }
            };
            const watcher = watch(this.#profile, { persistent: false }, look);
            look();
        });
    }

    async close() {
        const pid = Number(contentOf(this.#pidFile));
        rmSync(this.#pidFile, { force: true }); // the number may be reused by another process
        // Its parent has left it to the system, so its end is not reported here.
        const runs = () => pid && existsSync(`/proc/${pid}/exe`);
        if (runs()) {
            process.kill(pid);
        }
        while (runs()) {
            await delay(10);
        }
    }
}
