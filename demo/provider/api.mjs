// An API that accepts this provider's access tokens, for programs that have one: GET /api/files.

import { createPublicKey, verify } from 'node:crypto';

import { resource } from './configuration.mjs';

const fromBase64 = (text) => Buffer.from(text, 'base64url');

/// The claims of a JWT signed by the key with RS256. Throws for any other text.
function verifiedClaims(token, publicKey) {
    const [head, body, signature] = token.split('.');
    const signed = Buffer.from(`${head}.${body}`);
    if (
        JSON.parse(fromBase64(head)).alg !== 'RS256' ||
        !verify('sha256', signed, publicKey, fromBase64(signature))
    ) {
        throw new Error('not signed by this provider');
    }
    return JSON.parse(fromBase64(body));
}

export function api(issuer, jwk) {
    const publicKey = createPublicKey({ key: jwk, format: 'jwk' });

    function userOf(token) {
        const { iss, aud, exp, scope, sub } = verifiedClaims(token, publicKey);
        const isMeant = iss === issuer && aud === resource && scope.split(' ').includes('api:read');
        if (!isMeant || exp <= Date.now() / 1000) {
            throw new Error('not for this API, or not any longer');
        }
        return sub;
    }

    return async (ctx, next) => {
        if (ctx.path !== '/api/files') {
            await next();
            return;
        }
        ctx.set('Cache-Control', 'no-store');
        try {
            const user = userOf(ctx.get('Authorization').match(/^Bearer (.*)$/)[1]);
            ctx.body = ['Budget 2026.ods', 'Garden plan.pdf', 'Harbour.jpg', `Letter to ${user}.odt`];
        } catch {
            ctx.status = 401;
            ctx.set('WWW-Authenticate', 'Bearer error="invalid_token"');
        }
    };
}
