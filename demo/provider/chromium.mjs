// Debian's Chromium, headless, and what a person does there with the pages of this provider.

import { existsSync } from 'node:fs';

import { chromium } from 'playwright-core';

export const executable = '/usr/bin/chromium';

/// Why there is no browser, or false.
export const missingChromium = !existsSync(executable) && `${executable} is not installed`;

/// Nothing but loopback is reached: it would look for updates and accounts otherwise, and take its
/// way through the user's proxy. As root it does not start with its sandbox.
export const flags = [
    '--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE localhost, EXCLUDE 127.0.0.1',
    '--no-proxy-server',
    ...(process.getuid() === 0 ? ['--no-sandbox'] : []),
];

export const launch = () =>
    chromium.launch({ executablePath: executable, chromiumSandbox: true, args: flags });

/// Gives control of a Chromium that somebody else has started.
export const connect = (webSocketUrl) => chromium.connectOverCDP(webSocketUrl);

/// Does not wait for the next page, which can stay away.
export const press = (page, label) =>
    page.getByRole('button', { name: label }).click({ noWaitAfter: true });

/// On the first page of a sign-in.
export async function enter(page, user) {
    await page.getByLabel('User name').fill(user);
    await press(page, 'Sign in');
}

/// What the page says with which a sign-in ends, at the redirect URL.
export async function lastWords(page) {
    await page.waitForURL(({ pathname }) => pathname === '/callback');
    return (await page.locator('body').innerText()).trim();
}
