// Generates the manual pages and the completion as a build does, and reads what they must agree
// with.

import { spawnSync } from 'node:child_process';
import { join } from 'node:path';

import { temporaryFolder } from './command.mjs';

const sourceDir = join(process.env.OIDCAUTH_SOURCE_DIR, 'tool/manual');

/// Runs the generator and returns its result.
export function runGenerator(folder, { sources = sourceDir, date = '2026-01-31' } = {}) {
    const args = [sources, folder, date];
    return spawnSync(process.env.OIDCAUTH_MANUAL, args, { encoding: 'utf8' });
}

/// A folder with the generated files. `t` is the test, or the module node:test.
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

/// The variables of a subcommand's options.
export function variables(subcommand) {
    return [...help(subcommand).matchAll(/\b(OIDCAUTH_\w+)\]$/gm)].map(([, name]) => name);
}

/// The long options of a subcommand, with their hyphens.
export function longOptions(subcommand) {
    return [...help(subcommand).matchAll(/^ {2}(?:-\w, )?(--[a-z-]+)/gm)].map(([, name]) => name);
}

/// The reason to skip tests that need a program, or false. CI never skips them.
export function missing(program, ...args) {
    const isThere = !spawnSync(program, args, { stdio: 'ignore' }).error;
    return !isThere && !process.env.CI && `${program} is not installed`;
}
