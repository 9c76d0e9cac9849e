// As with providers on the internet: pages are served with https, and the last form is posted to
// http.

import assert from 'node:assert/strict';
import test from 'node:test';

import { Browser, enter, lastWords, missingBrowser, press } from './support/browser.mjs';
import { makeCertificate } from './support/certificate.mjs';
import { App } from './support/command.mjs';
import { freePort } from './support/ports.mjs';
import { startProvider } from './support/provider.mjs';

const options = { skip: missingBrowser };

/// A user who has just consented. The browser treats the provider as a public host, whose requests
/// to this machine are restricted, and has logged `warnings`.
async function allowed(t, { host = '127.0.0.1', formAction }) {
    const { cert, key } = makeCertificate(t, 'IP:127.0.0.1');
    const policy = formAction ? ['--form-action', formAction] : [];
    const provider = await startProvider(t, '--tls-cert', cert, '--tls-key', key, ...policy);
    const address = new URL(provider.configUrl).host;
    const flags = [`--ip-address-space-overrides=${address}=public`];
    const browser = new Browser(t, { authority: cert, flags });
    const app = new App(t, provider.configUrl, `http://${host}:${await freePort()}/callback`);
    const login = app.start(['login'], { env: { BROWSER: browser.command, SSL_CERT_FILE: cert } });
    const page = await browser.tab(login);
    const warnings = [];
    page.on('console', (message) => warnings.push(message.text()));
    await enter(page, 'alice');
    await press(page, 'Allow');
    return { login, page, warnings };
}

for (const { host, formAction } of [
    { host: '127.0.0.1' },
    { host: 'localhost', formAction: "'self' http://localhost:*" },
]) {
    test(`the browser does not warn of a form that goes from https to ${host}`, options, async (t) => {
        const { login, page, warnings } = await allowed(t, { host, formAction });
        assert.equal(await lastWords(page), 'You can close this page now.');
        const { code, stdout, stderr } = await login.result;
        assert.equal(code, 0, stderr);
        assert.match(stdout, /^Signed in as alice, /);
        assert.ok(!warnings.some((text) => /mixed content|security policy/i.test(text)), warnings.join());
    });
}

test('the browser holds back a form that the provider has not allowed, and warns of another host', options, async (t) => {
    const { login, page, warnings } = await allowed(t, { formAction: "'self' https: http://host.invalid" });
    await page.waitForFunction(() => document.title === 'Submitting Callback');
    while (!warnings.some((text) => /127.0.0.1:\d+\/callback.*form-action/.test(text))) {
        await page.waitForEvent('console');
    }
    login.kill('SIGINT');
    assert.equal((await login.result).code, 130, 'it has waited on');

    await page.evaluate(() => {
        document.forms[0].action = 'http://host.invalid/callback';
        document.forms[0].submit();
    });
    await page.getByRole('button', { name: 'Send anyway' }).waitFor();
    const text = await page.locator('body').innerText();
    assert.match(text, /^The information you’re about to submit is not secure/);
});
