// The manual pages and the completion, as a build makes them, and what they have to agree with.

import { spawnSync } from 'node:child_process';
import { join } from 'node:path';

import { temporaryFolder } from './command.mjs';

const sourceDir = join(process.env.OIDCAUTH_SOURCE_DIR, 'tool/manual');

/// How the program ended that makes them.
export function runGenerator(folder, { sources = sourceDir, date = '2026-01-31' } = {}) {
    const args = [sources, folder, date];
    return spawnSync(process.env.OIDCAUTH_MANUAL, args, { encoding: 'utf8' });
}

/// A folder with all of them. `t` is the test, or the module node:test.
export function makeManual(t) {
    const folder = temporaryFolder(t);
    const { status, stderr } = runGenerator(folder);
    if (status !== 0) {
        throw new Error(stderr);
    }
    return folder;
}

function help(...args) {
    return spawnSync(process.env.OIDCAUTH_COMMAND, [...args, '--help'], { encoding: 'utf8' }).stdout;
}

export function subcommands() {
    const [, list] = help().match(/^Subcommands:\n((?: .*\n)*)/m);
    return [...list.matchAll(/^ {2}(\S+)/gm)].map(([, name]) => name);
}

/// The variables that stand for options of a subcommand.
export function variables(subcommand) {
    return [...help(subcommand).matchAll(/\b(OIDCAUTH_\w+)\]$/gm)].map(([, name]) => name);
}

/// Those of a subcommand, with their hyphens.
export function longOptions(subcommand) {
    return [...help(subcommand).matchAll(/^ {2}(?:-\w, )?(--[a-z-]+)/gm)].map(([, name]) => name);
}

/// Why the tests that need a program are left out, or false. On a CI machine they never are.
export function missing(program, ...args) {
    const isThere = !spawnSync(program, args, { stdio: 'ignore' }).error;
    return !isThere && !process.env.CI && `${program} is not installed`;
}
