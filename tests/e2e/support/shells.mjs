// The completions of a shell: for a line, the words that its last word can become.

import assert from 'node:assert/strict';
import { spawn, spawnSync } from 'node:child_process';
import { once } from 'node:events';
import { join } from 'node:path';

import { Transcript } from './command.mjs';

// In the terminal the command is a function that prints its arguments, with a number for each call.
const printer = 'oidcauth() { printf "\\n(%d" $((++calls)); printf "|%s" "$@"; printf ")\\n"; }';

/// A shell in a terminal, where a key (M-*) inserts all completions.
class Interactive {
    #child;
    #prints;
    #calls = 0;

    constructor(t, shell, setUp, { cwd, env }) {
        this.#child = spawn('script', ['-qec', shell, '/dev/null'], {
            cwd,
            env: { ...env, TERM: 'dumb', INPUTRC: '/dev/null' },
            timeout: 60_000,
        });
        this.#prints = new Transcript(this.#child.stdout);
        t.after(async () => {
            const ended = once(this.#child, 'close');
            this.#child.stdin.end('exit\r');
            await ended;
        });
        this.ready = this.#type(`${setUp}; ${printer}; oidcauth`);
    }

    /// The arguments with which the command was called, and all output since the last call.
    async #type(line) {
        this.#child.stdin.write(`${line}\r`);
        this.#calls += 1;
        const before = this.#calls > 1 ? `^\\(${this.#calls - 1}.*\\)\\r$` : '';
        const call = `${before}([^]*?)^\\(${this.#calls}(.*)\\)\\r$`;
        const [, shown, words] = await this.#prints.match(new RegExp(call, 'm'));
        return { shown, words: words.split('|').slice(1) };
    }

    async complete(line) {
        await this.ready;
        const { shown, words } = await this.#type(`${line}\x1b*`);
        assert.doesNotMatch(shown, /oidcauth: |rror/, 'there is more on the terminal');
        const typed = line.split(' ').slice(1);
        const found = words.slice(typed.length - 1);
        return found.length === 1 && found[0] === typed.at(-1) ? [] : found;
    }
}

class Fish {
    #script;
    #options;

    constructor(script, options) {
        this.#script = script;
        this.#options = { ...options, encoding: 'utf8' };
    }

    async complete(line) {
        const code = 'source $argv[1]; complete -C $argv[2]';
        const args = ['--no-config', '-c', code, this.#script, line];
        const { stdout, stderr } = spawnSync('fish', args, this.#options);
        assert.equal(stderr, '');
        return stdout.split('\n').filter(Boolean).map((text) => text.split('\t')[0]);
    }
}

const zshSetUp = (folder) =>
    [
        `fpath=(${folder} $fpath)`,
        'autoload -Uz compinit && compinit -D -u',
        'zle -C all-matches complete-word _generic',
        "bindkey '^[*' all-matches",
        "zstyle ':completion:all-matches:*' completer _all_matches _complete",
        "zstyle ':completion:all-matches:*' insert true",
    ].join('; ');

/// `manual` is the folder from makeManual(); `options` are the shell's folder and environment.
export const shells = {
    bash: (t, manual, options) =>
        new Interactive(
            t,
            'bash --norc --noprofile -i',
            `source ${join(manual, 'bash/oidcauth')}`,
            options,
        ),
    zsh: (t, manual, options) =>
        new Interactive(t, 'zsh -f -i', zshSetUp(join(manual, 'zsh')), options),
    fish: (t, manual, options) => new Fish(join(manual, 'fish/oidcauth.fish'), options),
};
