// Debian's Chromium, headless, and a user's actions on the pages of this provider.

import { existsSync } from 'node:fs';

import { chromium } from 'playwright-core';

export const executable = '/usr/bin/chromium';

/// The reason why there is no browser, or false.
export const missingChromium = !existsSync(executable) && `${executable} is not installed`;

/// Only loopback can be reached: otherwise it would look for updates and accounts, and use the
/// user's proxy. As root it does not start with its sandbox.
export const flags = [
    '--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE localhost, EXCLUDE 127.0.0.1',
    '--no-proxy-server',
    ...(process.getuid() === 0 ? ['--no-sandbox'] : []),
];

export const launch = () =>
    chromium.launch({ executablePath: executable, chromiumSandbox: true, args: flags });

/// Takes control of a running Chromium.
export const connect = (webSocketUrl) => chromium.connectOverCDP(webSocketUrl);

/// Does not wait for the next page, which may never come.
export const press = (page, label) =>
    page.getByRole('button', { name: label }).click({ noWaitAfter: true });

/// On the first page of a sign-in.
export async function enter(page, user) {
    await page.getByLabel('User name').fill(user);
    await press(page, 'Sign in');
}

/// The text of the last page of a sign-in, at the redirect URL.
export async function lastWords(page) {
    await page.waitForURL(({ pathname }) => pathname === '/callback');
    return (await page.locator('body').innerText()).trim();
}
