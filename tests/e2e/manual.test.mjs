import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { appendFileSync, cpSync, readdirSync, readFileSync } from 'node:fs';
import { join } from 'node:path';
import test from 'node:test';

import { temporaryFolder } from './support/command.mjs';
import {
    longOptions,
    makeManual,
    missing,
    runGenerator,
    subcommands,
    variables,
} from './support/manual.mjs';

const pages = join(makeManual(test), 'man1');
const names = ['oidcauth', ...subcommands().map((name) => `oidcauth-${name}`)];

test('each subcommand has its page', () => {
    assert.deepEqual(readdirSync(pages).sort(), names.map((name) => `${name}.1`).sort());
});

const linters = [
    ['mandoc', '-Tlint', '-Wstyle'],
    // Debian's package checker runs the second one.
    ['man', '--warnings', '-E', 'UTF-8', '-l', '-Tutf8', '-Z'],
];
for (const [linter, ...args] of linters) {
    test(`${linter} has nothing to say about them`, { skip: missing(linter, '-V') }, () => {
        for (const name of names) {
            const page = join(pages, `${name}.1`);
            const { stdout, stderr } = spawnSync(linter, [...args, page], { encoding: 'utf8' });
            assert.equal(linter === 'mandoc' ? stdout + stderr : stderr, '', name);
        }
    });
}

test('they are as complete as --help', { skip: missing('mandoc', '-V') }, () => {
    for (const name of names) {
        const args = ['-Tascii', '-Owidth=200', join(pages, `${name}.1`)];
        const text = spawnSync('mandoc', args, { encoding: 'utf8' }).stdout.replace(/.\x08/g, '');
        const [, options] = text.match(/^OPTIONS\n([^]*?)^EXIT STATUS$/m);
        const told = [...options.matchAll(/^ {7}(?:-\w, )?(--[a-z-]+)/gm)].map(([, option]) => option);
        const command = name.replace(/^oidcauth-?/, '') || '--help';
        assert.deepEqual(told, longOptions(command), name);
        const named = [...text.matchAll(/^ {7}(OIDCAUTH_\w+) +--/gm)].map(([, variable]) => variable);
        assert.deepEqual(named, variables(command), name);
        const [, status] = text.match(/^EXIT STATUS\n([^]*?)^[A-Z]/m);
        const codes = [...status.matchAll(/^ {7}(\d+)/gm)].map(([, code]) => code).join(' ');
        const ofProgram = ['--help', 'exec'].includes(command) ? ' 126 127' : '';
        assert.equal(codes, `0 1 2 3 4 5 6${ofProgram} 130`, name);
        for (const [, other] of text.matchAll(/(oidcauth[a-z-]*)\(1\)/g)) {
            assert.ok(names.includes(other), `${name} names ${other}`);
        }
    }
});

test('they show the version, and a date only if one is given', (t) => {
    const heading = (folder) => readFileSync(join(folder, 'oidcauth.1'), 'utf8').match(/^\.TH .*/m)[0];
    const version = spawnSync(process.env.OIDCAUTH_COMMAND, ['--version'], { encoding: 'utf8' })
        .stdout.replace('oidcauth ', 'OIDCAuth ').trim();
    assert.equal(heading(pages), `.TH OIDCAUTH 1 "2026-01-31" "${version}" "User Commands"`);
    const folder = temporaryFolder(t);
    runGenerator(folder, { date: '' });
    assert.match(heading(join(folder, 'man1')), / 1 "" /);
});

for (const [text, says] of [
    ['.B \\-\\-profil\n', '--profil,'],
    ['.B \\-\\-profiles\n', '--profiles,'],
    ['.BR oidcauth\\-tokens (1)\n', 'oidcauth-tokens,'],
]) {
    test(`a page that names ${says} is refused`, (t) => {
        const sources = temporaryFolder(t);
        cpSync(join(process.env.OIDCAUTH_SOURCE_DIR, 'tool/manual'), sources, { recursive: true });
        appendFileSync(join(sources, 'pages/status.man'), text);
        const { status, stderr } = runGenerator(temporaryFolder(t), { sources });
        assert.equal(status, 1);
        assert.ok(stderr.includes(`status.man: [SEE ALSO] names ${says}`), stderr);
    });
}
