// The browser of a user: Chromium, started by the program that opens it.

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

/// Why the tests with a browser are left out, or false. On a CI machine they never are.
export const missingBrowser = !process.env.CI && chromium.missingChromium;

const contentOf = (file) => (existsSync(file) ? readFileSync(file, 'utf8') : '');
const quoted = (word) => `'${word.replaceAll("'", `'\\''`)}'`;

/// Chromium's other processes may still write there, though not for long.
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

    /// `authority` is a PEM file that its user has told it to trust, `flags` are further ones.
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

    /// Its tab, once `child` has opened it; fails if `child` ends without.
    async tab(child) {
        const ended = child.result.then(({ code, stderr }) => {
            throw new Error(`ended with ${code} and opened no browser: ${stderr}`);
        });
        const browser = await chromium.connect(await Promise.race([this.#debugger(), ended]));
        const [context] = browser.contexts();
        return context.pages()[0] ?? context.waitForEvent('page');
    }

    /// Neither the system's authorities nor SSL_CERT_FILE count for it.
    #trust(database, authority) {
        const certutil = (...args) => execFileSync('certutil', [...args, '-d', `sql:${database}`]);
        mkdirSync(database, { recursive: true });
        certutil('-N', '--empty-password');
        certutil('-A', '-n', 'authority', '-t', 'C,,', '-i', authority);
    }

    /// The address of the interface that controls it; Chromium writes it to a file.
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
        rmSync(this.#pidFile, { force: true }); // the number may come to be another's
        // Who started it has left it to the system, so that its end is not reported to anyone here.
        const runs = () => pid && existsSync(`/proc/${pid}/exe`);
        if (runs()) {
            process.kill(pid);
        }
        while (runs()) {
            await delay(10);
        }
    }
}
