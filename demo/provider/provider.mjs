// An OpenID provider on loopback for the demo and the end-to-end tests. See README.md.

import { openSync, readFileSync, writeSync } from 'node:fs';
import { createServer as createHttpServer } from 'node:http';
import { createServer as createHttpsServer } from 'node:https';
import { text } from 'node:stream/consumers';

import Provider from 'oidc-provider';

import { api } from './api.mjs';
import { configuration, resource } from './configuration.mjs';
import { readOptions } from './options.mjs';
import { consentPage, errorPage, signInPage } from './pages.mjs';

// The process that started us reads the line READY on standard output, so notices must not get in
// between.
console.info = console.error;

function requestLog(file) {
    const log = openSync(file, 'a');
    return async (ctx, next) => {
        try {
            await next();
        } finally {
            const entry = {
                time: new Date().toISOString(),
                method: ctx.method,
                // These ids give access to a running sign-in.
                path: ctx.path.replace(/^\/(interaction|auth)\/.*/, '/$1/:uid'),
                status: ctx.status,
            };
            if (ctx.oidc?.route === 'token') {
                // Listed one by one, because the body also has secrets, codes and tokens.
                const { grant_type, client_id, scope } = ctx.oidc.body ?? {};
                Object.assign(entry, { grant_type, client_id, scope, ok: ctx.status === 200 });
                entry.error = ctx.body?.error;
            }
            // Written before the answer is sent, so that whoever has the answer finds the line.
            writeSync(log, `${JSON.stringify(entry)}\n`);
        }
    };
}

/// RFC 6749, section 6, lets the provider decide whether the answer has one.
async function withholdRefreshToken(ctx, next) {
    await next();
    if (ctx.oidc?.body?.grant_type === 'refresh_token') {
        delete ctx.body.refresh_token;
    }
}

/// The content security policy for the forms on these pages, including the form that ends a
/// sign-in.
function formPolicy(sources) {
    return async (ctx, next) => {
        await next();
        if (ctx.response.is('html')) {
            ctx.set('Content-Security-Policy', `form-action ${sources}`);
        }
    };
}

/// Serves the sign-in and consent pages, or answers for the user if `autoLogin` is set.
function interactions(provider, autoLogin) {
    async function consent({ params, grantId }, accountId) {
        const grant =
            (grantId && (await provider.Grant.find(grantId))) ||
            new provider.Grant({ accountId, clientId: params.client_id });
        grant.addOIDCScope(params.scope);
        grant.addResourceScope(resource, params.scope);
        return { grantId: await grant.save() };
    }

    async function answer(interaction, form) {
        switch (form.get('action')) {
            case 'login':
                return { login: { accountId: form.get('user') || 'demo' } };
            case 'consent':
                return { consent: await consent(interaction, interaction.session.accountId) };
            default:
                return { error: 'access_denied', error_description: 'the user cancelled' };
        }
    }

    async function automaticAnswer(interaction) {
        const accountId = interaction.session?.accountId ?? 'demo';
        return { login: { accountId }, consent: await consent(interaction, accountId) };
    }

    async function show({ prompt, params, session }) {
        const client = await provider.Client.find(params.client_id);
        const name = client.clientName ?? client.clientId;
        return prompt.name === 'login'
            ? signInPage(name)
            : consentPage(name, session.accountId, params.scope.split(' '));
    }

    return async (ctx, next) => {
        if (!ctx.path.startsWith('/interaction/')) {
            await next();
            return;
        }
        ctx.set('Cache-Control', 'no-store');
        try {
            const interaction = await provider.interactionDetails(ctx.req, ctx.res);
            if (ctx.method !== 'POST' && !autoLogin) {
                ctx.type = 'html';
                ctx.body = await show(interaction);
                return;
            }
            const result = autoLogin
                ? await automaticAnswer(interaction)
                : await answer(interaction, new URLSearchParams(await text(ctx.req)));
            ctx.redirect(await provider.interactionResult(ctx.req, ctx.res, result));
            ctx.status = 303;
        } catch (error) {
            ctx.status = error.statusCode ?? 500;
            ctx.type = 'html';
            ctx.body = errorPage(error.message, error.error_description);
        }
    };
}

const options = readOptions();
const stop = () => process.exit(0);
process.on('SIGTERM', stop).on('SIGINT', stop);
if (options.exitWithStdin) {
    process.stdin.on('close', stop).resume();
}

const server = options.tlsCert
    ? createHttpsServer({ cert: readFileSync(options.tlsCert), key: readFileSync(options.tlsKey) })
    : createHttpServer();
server.on('error', (error) => {
    console.error(error.message);
    process.exit(1);
});
server.listen(options.port, '127.0.0.1', () => {
    // The issuer contains the port, so the provider can only be created now.
    const scheme = options.tlsCert ? 'https' : 'http';
    const issuer = `${scheme}://127.0.0.1:${server.address().port}`;
    const settings = configuration(options);
    const provider = new Provider(issuer, settings);
    if (options.log) {
        provider.use(requestLog(options.log));
    }
    if (options.lastingRefreshTokens) {
        provider.use(withholdRefreshToken);
    }
    if (options.formAction) {
        provider.use(formPolicy(options.formAction));
    }
    provider.use(api(issuer, settings.jwks.keys[0]));
    provider.use(interactions(provider, options.autoLogin));
    server.on('request', provider.callback());
    process.stdout.write(`READY ${issuer}/.well-known/openid-configuration\n`);
});
