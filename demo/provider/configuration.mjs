// The demo provider's settings: its clients, scopes, lifetimes and keys.

import { generateKeyPairSync, randomBytes } from 'node:crypto';

import { errorPage } from './pages.mjs';

export const resource = 'urn:demo:api';
const resourceScope = 'api:read api:write';
const day = 24 * 60 * 60;

const clients = ({ serviceSecret, refreshTokenTtl }) => [
    {
        client_id: 'demo-service',
        client_secret: serviceSecret,
        token_endpoint_auth_method: 'client_secret_post',
        grant_types: ['client_credentials'],
        response_types: [],
        redirect_uris: [],
        scope: resourceScope,
    },
    {
        client_id: 'demo-app',
        client_name: 'Demo application',
        // Only a native client may redirect to http; its loopback addresses match on any port.
        application_type: 'native',
        token_endpoint_auth_method: 'none',
        grant_types: [
            'authorization_code',
            'implicit',
            ...(refreshTokenTtl > 0 ? ['refresh_token'] : []),
        ],
        response_types: ['code id_token'],
        redirect_uris: [
            'http://127.0.0.1/callback',
            'http://localhost/callback',
            'http://[::1]/callback',
        ],
    },
];

// A new key pair for each run: no key is stored, and tokens of an earlier run are not accepted.
function signingKey() {
    const { privateKey } = generateKeyPairSync('rsa', { modulusLength: 2048 });
    return { ...privateKey.export({ format: 'jwk' }), use: 'sig', alg: 'RS256' };
}

export function configuration(options) {
    return {
        clients: clients(options),
        jwks: { keys: [signingKey()] },
        cookies: { keys: [randomBytes(32).toString('base64url')] },
        scopes: ['openid', 'offline_access', ...resourceScope.split(' ')],
        responseTypes: ['code id_token'],
        clientAuthMethods: ['none', 'client_secret_post'],
        enabledJWA: { idTokenSigningAlgValues: ['RS256'] },
        ttl: {
            AccessToken: (ctx) =>
                ctx.oidc.body?.grant_type === 'authorization_code'
                    ? options.firstTokenTtl
                    : options.accessTokenTtl,
            ClientCredentials: options.accessTokenTtl,
            RefreshToken: options.refreshTokenTtl || 1, // 0 would be refused, though none is issued
            IdToken: options.idTokenTtl,
            Interaction: 3600,
            Grant: 14 * day,
            Session: 14 * day,
        },
        // Any user name is an account.
        findAccount: (ctx, id) => ({ accountId: id, claims: () => ({ sub: id }) }),
        // By default only prompt=consent with the scope offline_access yields refresh tokens.
        issueRefreshToken: (ctx, client) => client.grantTypeAllowed('refresh_token'),
        rotateRefreshToken: !options.lastingRefreshTokens,
        expiresWithSession: () => false,
        interactions: { url: (ctx, interaction) => `/interaction/${interaction.uid}` },
        // The default error page loads a font from the internet.
        renderError: (ctx, out) => {
            ctx.type = 'html';
            ctx.body = errorPage(out.error, out.error_description);
        },
        features: {
            devInteractions: { enabled: false },
            rpInitiatedLogout: { enabled: false },
            clientCredentials: { enabled: true },
            // Access tokens are only JWTs if they are for a resource.
            resourceIndicators: {
                enabled: true,
                defaultResource: (ctx, client, oneOf) => oneOf ?? resource,
                useGrantedResource: () => true,
                getResourceServerInfo: () => ({
                    scope: resourceScope,
                    accessTokenFormat: 'jwt',
                    jwt: { sign: { alg: 'RS256' } },
                }),
            },
        },
    };
}
