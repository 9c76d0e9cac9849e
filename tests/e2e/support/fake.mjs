// A provider for services that answers token requests as a test wants.

import { createServer } from 'node:http';

/// `answer` gets each such request and its response.
export function fakeProvider(answer) {
    return createServer((request, response) => {
        response.setHeader('Content-Type', 'application/json');
        if (request.method === 'POST') {
            answer(request, response);
            return;
        }
        const issuer = `http://${request.headers.host}`;
        response.end(
            JSON.stringify({
                issuer,
                authorization_endpoint: `${issuer}/auth`,
                token_endpoint: `${issuer}/token`,
                grant_types_supported: ['client_credentials'],
                scopes_supported: ['api:read'],
            }),
        );
    });
}
