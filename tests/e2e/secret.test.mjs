import assert from 'node:assert/strict';
import { writeFileSync } from 'node:fs';
import test from 'node:test';

import { secret, Service } from './support/command.mjs';
import { startProvider } from './support/provider.mjs';

// The provider knows one secret, so success shows that it arrived unchanged.
const provider = await startProvider(test);

const ofFile = { args: ['--client-secret-file', 'secret'] };
const ofInput = { args: ['--client-secret-stdin'] };
const ofNamed = { args: ['--client-secret-env', 'NAMED'] };

for (const { name, source, file, input, env, code = 0 } of [
    { name: 'a file', source: ofFile, file: secret },
    { name: 'a file with a line end', source: ofFile, file: `${secret}\n` },
    { name: 'a file of another system', source: ofFile, file: `${secret}\r\n` },
    { name: 'standard input', source: ofInput, input: `${secret}\n` },
    { name: 'a named variable', source: ofNamed, env: { NAMED: secret } },
    { name: 'the usual variable', env: { OIDCAUTH_CLIENT_SECRET: secret } },
    {
        name: 'a file rather than the usual variable',
        source: ofFile,
        file: secret,
        env: { OIDCAUTH_CLIENT_SECRET: 'wrong' },
    },
    { name: 'a wrong file', source: ofFile, file: `${secret} `, code: 4 },
    { name: 'no place', code: 2 },
    { name: 'a missing file', source: ofFile, code: 2 },
    { name: 'an empty file', source: ofFile, file: '\n', code: 2 },
    { name: 'empty standard input', source: ofInput, code: 2 },
    {
        name: 'a variable that is not set, beside the usual one',
        source: ofNamed,
        env: { OIDCAUTH_CLIENT_SECRET: secret },
        code: 2,
    },
]) {
    test(`the secret comes from ${name}: ${code}`, async (t) => {
        const service = new Service(t, provider.configUrl);
        if (file !== undefined) {
            writeFileSync(service.path('secret'), file);
        }
        const ended = await service.run(source?.args, {
            input,
            env: { OIDCAUTH_CLIENT_SECRET: undefined, ...env },
        });
        assert.equal(ended.code, code, ended.stderr);
        assert.equal(ended.stdout !== '', code === 0);
        assert.equal(provider.requests().length > 0, code !== 2);
    });
}
