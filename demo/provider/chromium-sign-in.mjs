// Signs in at the demo provider in headless Chromium, for a user without a display:
// node chromium-sign-in.mjs [--user NAME] <authorization URL>
// Prints the pages and the actions.

import { parseArgs } from 'node:util';

import { enter, lastWords, launch, press } from './chromium.mjs';

const { values, positionals } = parseArgs({
    options: { user: { type: 'string', default: 'demo' } },
    allowPositionals: true,
});
if (positionals.length !== 1) {
    console.error('usage: chromium-sign-in.mjs [--user NAME] <authorization URL>');
    process.exit(2);
}

const browser = await launch();
try {
    const page = await browser.newPage();
    const shown = async () => `"${await page.title()}" at ${new URL(page.url()).host}`;
    console.log(`Chromium ${browser.version()}, headless`);
    await page.goto(positionals[0]);
    console.log(`${await shown()}: ${values.user} signs in`);
    await enter(page, values.user);
    await page.waitForSelector('h1:has-text("Allow access")');
    console.log(`${await shown()}: ${values.user} allows it`);
    await press(page, 'Allow');
    console.log(`"${await lastWords(page)}" at ${new URL(page.url()).host}`);
} finally {
    await browser.close();
}
