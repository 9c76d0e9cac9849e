// A provider of another make than the demo's: LemonLDAP::NG, from Debian's packages.

import assert from 'node:assert/strict';
import { spawn, spawnSync } from 'node:child_process';
import { generateKeyPairSync } from 'node:crypto';
import { once } from 'node:events';
import { mkdirSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { createInterface } from 'node:readline';

import { secret, temporaryFolder } from './command.mjs';
import { freePort } from './ports.mjs';

const modules = ['Lemonldap::NG::Portal::Main', 'String::Random'];

/// The reason why it cannot be started here, or false.
export function lacking() {
    const { status } = spawnSync('perl', [...modules.map((name) => `-M${name}`), '-e', '']);
    return status === 0 ? false : 'no LemonLDAP::NG (scripts/setup ci installs it)';
}

const client = (options) =>
    Object.fromEntries(
        Object.entries(options).map(([name, value]) => [`oidcRPMetaDataOptions${name}`, value]),
    );

const clients = (redirectUrl) => ({
    app: client({
        ClientID: 'demo-app',
        Public: 1,
        RedirectUris: redirectUrl,
        RefreshToken: 1,
        AccessTokenJWT: 1,
        IDTokenSignAlg: 'RS256',
        UserIDAttr: 'uid',
    }),
    service: client({
        ClientID: 'demo-service',
        ClientSecret: secret,
        AllowClientCredentialsGrant: 1,
    }),
});

function configuration(folder, origin, redirectUrl) {
    const { privateKey, publicKey } = generateKeyPairSync('rsa', { modulusLength: 2048 });
    const sessions = join(folder, 'sessions');
    return {
        cfgNum: 1,
        cfgAuthor: 'tests',
        cfgDate: 1,
        portal: `${origin}/`,
        domain: '127.0.0.1',
        securedCookie: 0,
        // Its demonstration users: each password is the user's name.
        authentication: 'Demo',
        userDB: 'Same',
        passwordDB: 'Null',
        registerDB: 'Null',
        demoExportedVars: { cn: 'cn', mail: 'mail', uid: 'uid' },
        whatToTrace: 'uid',
        key: 'of the cookies',
        captcha: 'No::Captcha',
        globalStorage: 'Apache::Session::File',
        globalStorageOptions: {
            Directory: sessions,
            LockDirectory: join(sessions, 'lock'),
            generateModule: 'Lemonldap::NG::Common::Apache::Session::Generate::SHA256',
        },
        localSessionStorage: 'Cache::FileCache',
        localSessionStorageOptions: { namespace: 'sessions', cache_root: join(folder, 'cache') },
        locationRules: {},
        issuerDBOpenIDConnectActivation: 1,
        oidcServiceAllowAuthorizationCodeFlow: 1,
        oidcServiceAllowHybridFlow: 1,
        oidcServicePrivateKeySig: privateKey.export({ type: 'pkcs8', format: 'pem' }),
        oidcServicePublicKeySig: publicKey.export({ type: 'spki', format: 'pem' }),
        oidcServiceKeyIdSig: 'key-1',
        oidcRPMetaDataOptions: clients(redirectUrl),
        oidcRPMetaDataExportedVars: { app: {}, service: {} },
    };
}

const settings = (folder) => `[all]
logLevel = error
logger = Lemonldap::NG::Common::Logger::Std
[configuration]
type = File
dirName = ${folder}
localStorage = Cache::FileCache
localStorageOptions = { 'namespace' => 'configuration', 'cache_root' => '${folder}/cache' }
[portal]
templateDir = /usr/share/lemonldap-ng/portal/templates
languages = en
`;

// It loads a captcha even if none is shown; the usual one needs graphics libraries.
const program = (folder) => `package No::Captcha;
use Mouse;
extends 'Lemonldap::NG::Portal::Main::Plugin';
sub init { 1 }
BEGIN { $INC{'No/Captcha.pm'} = __FILE__ }
package main;
use Lemonldap::NG::Portal::Main;
Lemonldap::NG::Portal::Main->run({ configStorage => { confFile => '${folder}/settings.ini' } });
`;

/// Signs in `dwho`, with the password `dwho`. `t` is the test, or the module node:test.
export async function startLemonldap(t) {
    const folder = temporaryFolder(t);
    const port = await freePort();
    const origin = `http://127.0.0.1:${port}`;
    const redirectUrl = `http://127.0.0.1:${await freePort()}/callback`;
    mkdirSync(join(folder, 'sessions', 'lock'), { recursive: true });
    const write = (name, text) => writeFileSync(join(folder, name), text);
    write('lmConf-1.json', JSON.stringify(configuration(folder, origin, redirectUrl)));
    write('settings.ini', settings(folder));
    write('portal.psgi', program(folder));
    // It ends when its standard input does, and so with the tests, however they end.
    const serve =
        'exec 3<&0 </dev/null; (read -r _ <&3; kill $$) 2>/dev/null & ' +
        'exec plackup --no-default-middleware --host 127.0.0.1 --port "$0" "$1" 3<&-';
    const child = spawn('sh', ['-c', serve, port, join(folder, 'portal.psgi')], {
        stdio: ['pipe', 'inherit', 'pipe'],
    });
    const ended = once(child, 'exit');
    t.after(async () => {
        child.stdin.end();
        await ended;
    });
    let said = '';
    for await (const line of createInterface(child.stderr)) {
        if (line.includes('Accepting connections')) {
            child.stderr.resume();
            assert.equal(said, '');
            return { issuer: `${origin}/`, redirectUrl };
        }
        said += `${line}\n`;
    }
    throw new Error(`LemonLDAP::NG does not start: ${said}`);
}
