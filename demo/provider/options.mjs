// Command line of the demo provider.

import { parseArgs } from 'node:util';

const usage = `usage: provider.mjs [options]

Starts an OpenID provider on 127.0.0.1, prints "READY <configuration URL>" and runs until
SIGTERM or SIGINT.

  --port PORT                  port to listen on (a free one)
  --log FILE                   append one JSON line per request to FILE
  --access-token-ttl SECONDS   lifetime of access tokens (3600)
  --first-token-ttl SECONDS    lifetime of the access token that comes with a sign-in (the same)
  --id-token-ttl SECONDS       lifetime of ID tokens (3600)
  --refresh-token-ttl SECONDS  lifetime of refresh tokens (1209600); 0: issue none
  --lasting-refresh-tokens     a refresh token stays valid, and the answer to a refresh has none
  --service-secret SECRET      secret of the client demo-service; default: the environment's
                               DEMO_SERVICE_SECRET, else the one of README.md
  --auto-login                 sign in as "demo" and consent without showing a page
  --tls-cert FILE              serve https with this certificate (PEM); needs --tls-key
  --tls-key FILE               private key of the certificate (PEM)
  --form-action SOURCES        send "Content-Security-Policy: form-action SOURCES" with all pages
  --exit-with-stdin            end when standard input ends, that is with the parent process
  --help                       show this text
`;

const options = {
    port: { type: 'string', default: '0' },
    log: { type: 'string' },
    'access-token-ttl': { type: 'string', default: '3600' },
    'first-token-ttl': { type: 'string' },
    'id-token-ttl': { type: 'string', default: '3600' },
    'refresh-token-ttl': { type: 'string', default: '1209600' },
    'lasting-refresh-tokens': { type: 'boolean', default: false },
    'service-secret': { type: 'string' },
    'auto-login': { type: 'boolean', default: false },
    'tls-cert': { type: 'string' },
    'tls-key': { type: 'string' },
    'form-action': { type: 'string' },
    'exit-with-stdin': { type: 'boolean', default: false },
    help: { type: 'boolean', default: false },
};

function integer(values, name, min, max = Number.MAX_SAFE_INTEGER) {
    const value = values[name];
    if (!/^\d+$/.test(value) || Number(value) < min || Number(value) > max) {
        throw new Error(`--${name} cannot be '${value}'`);
    }
    return Number(value);
}

function serviceSecret(values) {
    const secret =
        values['service-secret'] ?? process.env.DEMO_SERVICE_SECRET ?? 's3cret/+:=&% ~"demo"';
    if (!/^[ -~]+$/.test(secret)) {
        throw new Error('the secret of demo-service must be printable ASCII, as OAuth 2.0 has it');
    }
    return secret;
}

/// The options as numbers and strings. Ends the process after --help or a wrong option.
export function readOptions() {
    try {
        const { values } = parseArgs({ options });
        if (values.help) {
            process.stdout.write(usage);
            process.exit(0);
        }
        if (!values['tls-cert'] !== !values['tls-key']) {
            throw new Error('--tls-cert and --tls-key go together');
        }
        values['first-token-ttl'] ??= values['access-token-ttl'];
        return {
            port: integer(values, 'port', 0, 65535),
            log: values.log,
            accessTokenTtl: integer(values, 'access-token-ttl', 1),
            firstTokenTtl: integer(values, 'first-token-ttl', 1),
            idTokenTtl: integer(values, 'id-token-ttl', 1),
            refreshTokenTtl: integer(values, 'refresh-token-ttl', 0),
            lastingRefreshTokens: values['lasting-refresh-tokens'],
            serviceSecret: serviceSecret(values),
            autoLogin: values['auto-login'],
            tlsCert: values['tls-cert'],
            tlsKey: values['tls-key'],
            formAction: values['form-action'],
            exitWithStdin: values['exit-with-stdin'],
        };
    } catch (error) {
        process.stderr.write(`${error.message}\nprovider.mjs --help lists the options.\n`);
        process.exit(2);
    }
}
