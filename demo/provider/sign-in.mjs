// Signs in at the demo provider as a browser would, and posts the answer to the redirect URL:
// node sign-in.mjs [--user NAME] [--password TEXT] [--deny] <authorization URL>
// Prints the answer of the redirect URL; succeeds if its status was 200.

import { parseArgs } from 'node:util';

const { values, positionals } = parseArgs({
    options: {
        user: { type: 'string', default: 'demo' },
        password: { type: 'string' },
        deny: { type: 'boolean', default: false },
    },
    allowPositionals: true,
});

// Stored as browsers do: by host, not by port, and with their paths.
const cookies = new Map();

function keepCookies({ hostname }, headers) {
    for (const header of headers.getSetCookie()) {
        const [, name, value] = header.match(/^([^=]*)=([^;]*)/);
        const path = header.match(/; *path=([^;]*)/i)?.[1] ?? '/';
        cookies.set(`${hostname} ${path} ${name}`, { hostname, path, pair: `${name}=${value}` });
        if (!value) {
            cookies.delete(`${hostname} ${path} ${name}`);
        }
    }
}

function cookieHeader(url) {
    const covers = (path) => `${url.pathname}/`.startsWith(path.replace(/\/?$/, '/'));
    return [...cookies.values()]
        .filter(({ hostname, path }) => hostname === url.hostname && covers(path))
        .map(({ pair }) => pair)
        .join('; ');
}

async function load(url, fields) {
    const headers = { Accept: 'text/html', Cookie: cookieHeader(url) };
    if (fields) {
        // Set here because fetch would add a charset, which browsers do not.
        headers['Content-Type'] = 'application/x-www-form-urlencoded';
    }
    const response = await fetch(url, {
        method: fields ? 'POST' : 'GET',
        headers,
        body: fields?.toString(),
        redirect: 'manual',
    });
    keepCookies(url, response.headers);
    const location = response.headers.get('location');
    return { status: response.status, location, html: await response.text() };
}

const characters = { amp: '&', lt: '<', gt: '>', quot: '"', '#39': "'" };

function attribute(element, name) {
    const value = element.match(new RegExp(` ${name}="([^"]*)"`))?.[1] ?? '';
    return value.replace(/&(amp|lt|gt|quot|#39);/g, (_, entity) => characters[entity]);
}

/// The page's form, filled in by its user; nothing if the page has none.
function filledForm(url, html) {
    const form = html.match(/<form [^>]*>/)?.[0];
    if (!form) {
        return undefined;
    }
    const fields = new URLSearchParams();
    const typed = { user: values.user, password: values.password };
    for (const [input] of html.matchAll(/<input [^>]*>/g)) {
        const name = attribute(input, 'name');
        if (attribute(input, 'type') !== 'checkbox') {
            fields.append(name, typed[name] ?? attribute(input, 'value'));
        }
    }
    const button = html.match(/<button name="action"[^>]*>/)?.[0];
    if (button) {
        fields.append('action', values.deny ? 'deny' : attribute(button, 'value'));
    }
    return { action: new URL(attribute(form, 'action'), url), fields };
}

if (positionals.length !== 1) {
    console.error('usage: sign-in.mjs [--user NAME] [--password TEXT] [--deny] <authorization URL>');
    process.exit(2);
}
const provider = new URL(positionals[0]).origin;
let url = new URL(positionals[0]);
let page = await load(url);
while (url.origin === provider) {
    const form = page.location ? undefined : filledForm(url, page.html);
    if (!page.location && !form) {
        break;
    }
    url = form ? form.action : new URL(page.location, url);
    page = await load(url, form?.fields);
}
console.log(`${page.status} ${url.origin}${url.pathname}\n${page.html}`);
// Does not wait for the event loop: a kept-alive connection would delay the end.
process.exit(url.origin !== provider && page.status === 200 ? 0 : 1);
