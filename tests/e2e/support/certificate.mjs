// Self-signed certificates: each is its own authority.

import { execFileSync } from 'node:child_process';
import { join } from 'node:path';

import { temporaryFolder } from './command.mjs';

/// `name` is a subjectAltName, for example `IP:127.0.0.1`. Returns the paths of two PEM files.
export function makeCertificate(t, name) {
    const folder = temporaryFolder(t);
    const files = { cert: join(folder, 'cert.pem'), key: join(folder, 'key.pem') };
    const request = 'req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2';
    execFileSync(
        'openssl',
        [
            ...request.split(' '),
            ...['-subj', '/CN=oidcauth test', '-addext', `subjectAltName=${name}`],
            ...['-out', files.cert, '-keyout', files.key],
        ],
        { stdio: 'pipe' },
    );
    return files;
}
