// Runs examples/desktop on an invisible display and controls it with the keyboard. Run by
// scripts/ci/examples.

import assert from 'node:assert/strict';
import { execFile, spawn } from 'node:child_process';
import { once } from 'node:events';
import { chmodSync, mkdirSync, watch, writeFileSync } from 'node:fs';
import { createServer } from 'node:http';
import { join } from 'node:path';
import { createInterface } from 'node:readline';
import test from 'node:test';
import { promisify } from 'node:util';

import { inherited, temporaryFolder, Transcript } from './support/command.mjs';
import { listen } from './support/ports.mjs';
import { startProvider } from './support/provider.mjs';

const run = promisify(execFile);
/// In milliseconds, shorter than the limits after which the program gives up by itself.
const limit = 20_000;
const inTime = () => ({ signal: AbortSignal.timeout(limit) });
const { OIDCAUTH_DESKTOP, OIDCAUTH_SCREENSHOT, OIDCAUTH_SOURCE_DIR } = process.env;

const provider = await startProvider(test);
const display = await startDisplay();

/// A display with a free number, without a window manager.
async function startDisplay() {
    const args = ['-displayfd', '3', '-screen', '0', '800x600x24', '-nolisten', 'tcp'];
    const child = spawn('Xvfb', args, { stdio: ['ignore', 'ignore', 'ignore', 'pipe'] });
    test.after(() => child.kill());
    const [number] = await once(createInterface(child.stdio[3]), 'line');
    return `:${number}`;
}

class Desktop {
    constructor(t) {
        this.home = temporaryFolder(t);
        this.environment = {
            ...inherited(),
            HOME: this.home,
            XDG_RUNTIME_DIR: this.home,
            DISPLAY: display,
            BROWSER: join(this.home, 'bin/browser'),
            LC_ALL: 'C.UTF-8',
        };
        mkdirSync(join(this.home, 'bin'));
        t.after(() => this.process.kill('SIGKILL'));
    }

    /// A shell command that gets the page as "$1".
    set browser(command) {
        writeFileSync(this.environment.BROWSER, `#!/bin/sh\n${command}\n`);
        chmodSync(this.environment.BROWSER, 0o700);
    }

    start(api = new URL('/api/files', provider.configUrl).href) {
        this.process = spawn(OIDCAUTH_DESKTOP, [provider.configUrl, api], { env: this.environment });
        this.says = new Transcript(this.process.stderr);
    }

    async #run(...args) {
        const { stdout } = await run(...args, { env: this.environment, timeout: limit });
        return stdout.trim();
    }

    /// Waits until the window title says so.
    async shows(title) {
        const name = `^${title} – Files$`;
        const search = this.#run('xdotool', ['search', '--sync', '--onlyvisible', '--name', name]);
        this.window = await search.catch(() => assert.fail(`it does not show ${title}`));
    }

    press(key) {
        return this.#run('xdotool', ['windowfocus', '--sync', this.window, 'key', key]);
    }

    photograph(file) {
        return this.#run('import', ['-window', this.window, file]);
    }

    async quit() {
        const ended = once(this.process, 'exit', inTime());
        await this.press('ctrl+q');
        const [code, signal] = await ended;
        assert.deepEqual([code ?? signal, await this.says.whole], [0, '']);
    }
}

const signsIn = (user) =>
    `exec "${process.execPath}" "${OIDCAUTH_SOURCE_DIR}/demo/provider/sign-in.mjs" --user "${user}" "$1" >/dev/null`;
const requested = () => provider.requests().map(({ path, status }) => `${path} ${status}`);

test('a user signs in, sees their files, comes back, and signs out', async (t) => {
    const desktop = new Desktop(t);
    desktop.browser = signsIn('Ada Lovelace');
    desktop.start();
    await desktop.shows('Not signed in');
    assert.deepEqual(requested(), []);
    await desktop.press('alt+s');
    await desktop.shows('Ada Lovelace');
    assert.equal(requested().at(-1), '/api/files 200');
    if (OIDCAUTH_SCREENSHOT) {
        await desktop.photograph(OIDCAUTH_SCREENSHOT);
    }
    await desktop.quit();

    desktop.start();
    await desktop.shows('Ada Lovelace');
    assert.deepEqual(requested(), ['/api/files 200']);
    await desktop.press('alt+o');
    await desktop.shows('Not signed in');
    await desktop.quit();
    desktop.start();
    await desktop.shows('Not signed in');
    await desktop.quit();
    assert.deepEqual(requested(), []);
});

test('a sign-in that nobody answers is cancelled, begun anew, and left by closing the window', async (t) => {
    const desktop = new Desktop(t);
    desktop.browser = 'touch "$HOME/bin/opened"';
    const beginSignIn = async () => {
        const folder = watch(join(desktop.home, 'bin'), { persistent: false });
        const opened = once(folder, 'change', inTime());
        await desktop.press('alt+s');
        await opened;
        await desktop.shows('Go on in your browser…');
    };
    desktop.start();
    await desktop.shows('Not signed in');
    await beginSignIn();
    await desktop.press('alt+c');
    await desktop.shows('Not signed in');
    await beginSignIn();
    await desktop.quit();

    desktop.browser = signsIn('ada');
    desktop.start();
    await desktop.shows('Not signed in');
    await desktop.press('alt+s');
    await desktop.shows('ada');
    await desktop.quit();
});

test('a call that the API never answers is cancelled, and left by closing the window', async (t) => {
    const silent = createServer(() => {});
    const desktop = new Desktop(t);
    desktop.browser = signsIn('ada');
    desktop.start(`http://${await listen(t, silent)}/`);
    await desktop.shows('Not signed in');
    await desktop.press('alt+s');
    await desktop.shows('Loading your files…');
    await desktop.press('alt+c');
    await desktop.shows('ada');
    await desktop.press('alt+r');
    await desktop.shows('Loading your files…');
    await desktop.quit();
});
