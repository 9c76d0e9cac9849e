import assert from 'node:assert/strict';
import { chmodSync, mkdirSync, symlinkSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import test from 'node:test';

import { inherited, temporaryFolder } from './support/command.mjs';
import { longOptions, makeManual, missing, subcommands } from './support/manual.mjs';
import { shells } from './support/shells.mjs';

const manual = makeManual(test);

/// A home with three profiles and a file, and a program with a unique name.
function surroundings(t) {
    const home = temporaryFolder(t);
    const config = join(home, '.config/oidcauth/config.toml');
    mkdirSync(join(home, '.config/oidcauth'), { recursive: true });
    writeFileSync(config, '[work]\n["my own"]\n[private]\nkeyring = true\n', { mode: 0o644 });
    writeFileSync(join(home, 'certificate.pem'), '');
    const bin = join(home, 'bin');
    mkdirSync(bin);
    symlinkSync(process.env.OIDCAUTH_COMMAND, join(bin, 'oidcauth'));
    writeFileSync(join(bin, 'e2e-program'), '#!/bin/sh\n', { mode: 0o755 });
    const { PATH } = inherited();
    const env = { ...inherited(), HOME: home, PATH: `${bin}:${PATH}`, E2E_TOKEN: 'x' };
    return { config, options: { cwd: home, env } };
}

const file = 'certificate.pem';
const rows = [
    ['', ...subcommands()],
    ['ser', 'service-token'],
    ['--v', '--version'],
    ['token --output ', 'env', 'exec-credential', 'header', 'json', 'token'],
    ['token --output=ex', '--output=exec-credential'],
    ['provider --for ', 'login', 'service-token'],
    ['login --prompt ', 'consent', 'login', 'none', 'select_account'],
    ['status --profile ', 'my own', 'private', 'work'],
    ['status --profile=m', '--profile=my own'],
    ['keep cert', file],
    ['keep --output js', 'json'],
    ['login --ca-file cert', file],
    ['login --store=cert', `--store=${file}`],
    ['login --client-id cert'],
    ['status cert'],
    ['exec --env E2E_', 'E2E_TOKEN'],
    ['login --no-', '--no-browser'],
    ['token --no-', '--no-browser', '--no-store'],
    ['status --no-'],
    // A value is not a subcommand, even if it has the same name.
    ['status --profile login --no-'],
    ['exec ', '--'],
    ['exec --profile work -- e2e-pro', 'e2e-program'],
    ['exec -- e2e-program --out'],
    ['exec -- e2e-program cert', file],
    ['token -- e2e-pro'],
];

for (const [name, start] of Object.entries(shells)) {
    test(`${name} completes`, { skip: missing(name, '--version') }, async (t) => {
        const { config, options } = surroundings(t);
        const shell = start(t, manual, options);
        for (const [line, ...words] of rows) {
            assert.deepEqual((await shell.complete(`oidcauth ${line}`)).sort(), words.sort(), line);
        }
        for (const command of subcommands()) {
            const line = `${command} --`;
            const found = (await shell.complete(`oidcauth ${line}`)).filter((word) => word !== '--');
            assert.deepEqual(found.sort(), longOptions(command).sort(), line);
        }
        if (name === 'zsh') {
            const line = 'oidcauth login --keyring --sto';
            assert.deepEqual(await shell.complete(line), [], 'what an option excludes');
        }
        chmodSync(config, 0o666); // the command refuses such a file
        assert.deepEqual(await shell.complete('oidcauth status --profile w'), []);
    });
}
