import assert from 'node:assert/strict';
import { createServer } from 'node:http';
import test from 'node:test';

import { Browser, enter, lastWords, missingBrowser, press } from './support/browser.mjs';
import { App } from './support/command.mjs';
import { freePort, listen } from './support/ports.mjs';
import { startProvider } from './support/provider.mjs';

const options = { skip: missingBrowser };
const provider = await startProvider(test);

const claims = (token) => JSON.parse(Buffer.from(token.split('.')[1], 'base64url'));

/// A user who has started `oidcauth login` and sees the first page in their own browser.
async function atSignIn(t, { configUrl = provider.configUrl, host = '127.0.0.1' } = {}) {
    const browser = new Browser(t);
    const port = await freePort();
    const app = new App(t, configUrl, `http://${host}:${port}/callback`);
    const login = app.start(['login'], { env: { BROWSER: browser.command } });
    const page = await browser.tab(login);
    await page.getByLabel('User name').waitFor();
    return { app, login, port, browser, page };
}

// Chromium resolves `localhost` to both loopback addresses, and requests an icon after the last
// page.
test('a person signs in in the browser that login opens', options, async (t) => {
    const user = 'Zoë & "Co"';
    const { app, login, page } = await atSignIn(t, { host: 'localhost' });
    await enter(page, user);
    await press(page, 'Allow');
    assert.equal(await lastWords(page), 'You can close this page now.');

    const { code, stdout, stderr } = await login.result;
    assert.equal(code, 0, stderr);
    assert.ok(stdout.startsWith(`Signed in as ${user}, `), stdout);
    assert.equal(claims(await app.succeed(['token'])).sub, user);
});

for (const { what, before } of [
    { what: 'to sign in', before: () => {} },
    { what: 'what the application asks for', before: (page) => enter(page, 'alice') },
]) {
    test(`a person refuses ${what}`, options, async (t) => {
        const { app, login, page } = await atSignIn(t);
        await before(page);
        await press(page, 'Cancel');
        assert.equal(await lastWords(page), 'Invalid reqeust. Unable to extract auth code.');

        const { code, stdout, stderr } = await login.result;
        assert.deepEqual([code, stdout], [4, '']);
        assert.match(stderr, /^oidcauth: .*cancelled/m);
        assert.equal((await app.run(['status'])).code, 3, 'nothing is stored');
    });
}

test('login waits on without browser and provider, until it is interrupted', options, async (t) => {
    const stopped = await startProvider(t);
    const { login, port, browser, page } = await atSignIn(t, stopped);
    await stopped.stop();
    const failed = page.waitForEvent('requestfailed');
    await enter(page, 'alice');
    await failed;
    await browser.close();
    await assert.rejects(listen(t, createServer(), port), { code: 'EADDRINUSE' });

    login.kill('SIGINT');
    assert.equal((await login.result).code, 130);
    await listen(t, createServer(), port);
});
