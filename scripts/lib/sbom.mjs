// The contents of the Debian packages as SPDX 2.3: the libraries that their programs link, and the
// packages whose headers were compiled into them.
//
//   node sbom.mjs TREE NAME VERSION    TREE: where the packages were built; prints JSON

import { execFileSync } from 'node:child_process';
import { createHash } from 'node:crypto';
import { mkdtempSync, readFileSync, readdirSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

const [tree, name, version] = process.argv.slice(2);
const quiet = { encoding: 'utf8', maxBuffer: 1 << 30, stdio: ['ignore', 'pipe', 'ignore'] };
const run = (file, ...args) => execFileSync(file, args, quiet);
const lines = (text) => text.split('\n').filter(Boolean);
const sha256 = (bytes) => createHash('sha256').update(bytes).digest('hex');
const libraries = join('/lib', run('gcc', '-print-multiarch').trim());
const idOf = (package_) => `SPDXRef-${package_.replace(/[^a-zA-Z0-9.-]/g, '-')}`;

// ---- the packages
const created = join(tree, 'packages');
const ours = readdirSync(created)
    .filter((file) => file.endsWith('.deb'))
    .sort()
    .map((file) => ({ file, name: file.split('_')[0], ...contents(join(created, file)) }));

/// The sonames of the libraries in a package, and of those that its programs link.
function contents(file) {
    const scratch = mkdtempSync(join(tmpdir(), 'sbom-'));
    try {
        run('dpkg-deb', '-x', file, scratch);
        const given = new Set();
        const needed = new Set();
        for (const path of lines(run('find', scratch, '-type', 'f'))) {
            if (readFileSync(path).subarray(0, 4).toString('latin1') === '\x7fELF') {
                const dynamic = run('readelf', '-dW', path);
                for (const [, kind, soname] of dynamic.matchAll(/\((NEEDED|SONAME)\).*\[(.*)\]/g)) {
                    (kind === 'NEEDED' ? needed : given).add(soname);
                }
            }
        }
        return { given, needed };
    } finally {
        rmSync(scratch, { recursive: true });
    }
}

// ---- packages of the system
/// The package of each of the files; files without a package are left out.
function owners(patterns) {
    if (patterns.length === 0) {
        return [];
    }
    let found;
    try {
        found = run('dpkg-query', '-S', ...patterns);
    } catch (error) {
        found = error.stdout; // some have no package
    }
    return [...new Set(lines(found).map((line) => line.split(/[:,]/)[0]))].sort();
}

const known = new Map();

function lookUp(package_) {
    if (!known.has(package_)) {
        const format = '${Version}\\n${Architecture}\\n${source:Package}\\n';
        const facts = lines(run('dpkg-query', '-W', '-f', format, package_));
        const [versionInfo, architecture, source] = facts;
        known.set(package_, { versionInfo, architecture, source });
    }
    return known.get(package_);
}

// The package of ours that the objects of a folder end up in, the most specific one first.
const folders = [
    [/^host\/CMakeFiles\/OIDCAuthKeyring\.dir\//, 'liboidcauth-keyring'],
    [/^(auth|host|platform)\//, /^liboidcauth[0-9]/],
    [/^tool\//, 'oidcauth'],
    [/^testing\//, 'liboidcauth-dev'],
];
const headers = new Map(ours.map((one) => [one.name, new Set()]));
let into;
for (const line of run('ninja', '-C', tree, '-t', 'deps').split('\n')) {
    if (/^\S.*: #deps/.test(line)) {
        const [, package_] = folders.find(([folder]) => folder.test(line)) ?? [];
        into = [...headers.keys()].find((one) => one === package_ || (package_?.test?.(one) ?? false));
    } else if (into && line.trim().startsWith('/usr/')) {
        headers.get(into).add(line.trim());
    }
}

// ---- the document
const unsaid = { filesAnalyzed: false, downloadLocation: 'NOASSERTION', copyrightText: 'NOASSERTION' };
const packages = [];
const relationships = [];
const relate = (from, relationshipType, to) =>
    relationships.push({ spdxElementId: from, relationshipType, relatedSpdxElement: to });

for (const one of ours) {
    packages.push({
        SPDXID: idOf(one.name),
        name: one.name,
        versionInfo: one.file.split('_')[1],
        packageFileName: one.file,
        checksums: [
            { algorithm: 'SHA256', checksumValue: sha256(readFileSync(join(created, one.file))) },
        ],
        licenseConcluded: 'NOASSERTION',
        licenseDeclared: 'NONE',
        ...unsaid,
    });
    relate('SPDXRef-DOCUMENT', 'DESCRIBES', idOf(one.name));

    const foreign = [];
    const givers = new Set();
    for (const soname of one.needed) {
        const giver = ours.find(({ given }) => given.has(soname));
        giver ? givers.add(giver) : foreign.push(`*${libraries}/${soname}`);
    }
    givers.delete(one);
    givers.forEach((giver) => relate(idOf(one.name), 'DEPENDS_ON', idOf(giver.name)));
    const linked = owners(foreign);
    linked.forEach((package_) => relate(idOf(one.name), 'DYNAMIC_LINK', idOf(package_)));
    const sources = new Set(linked.map((package_) => lookUp(package_).source));
    for (const package_ of owners([...headers.get(one.name)])) {
        // The headers of a linked library belong to it; of the other packages only the headers were used.
        if (sources.has(lookUp(package_).source)) {
            relate(idOf(package_), 'BUILD_DEPENDENCY_OF', idOf(one.name));
        } else {
            relate(idOf(one.name), 'STATIC_LINK', idOf(package_));
        }
    }
}
for (const [package_, { versionInfo, architecture }] of [...known].sort(([a], [b]) => (a < b ? -1 : 1))) {
    const [there, exact] = [package_, versionInfo].map(encodeURIComponent);
    const locator = `pkg:deb/debian/${there}@${exact}?arch=${architecture}`;
    packages.push({
        SPDXID: idOf(package_),
        name: package_,
        versionInfo,
        externalRefs: [
            { referenceCategory: 'PACKAGE-MANAGER', referenceType: 'purl', referenceLocator: locator },
        ],
        licenseConcluded: 'NOASSERTION',
        licenseDeclared: 'NOASSERTION',
        ...unsaid,
    });
}
const digest = sha256(JSON.stringify(packages));
const document = {
    spdxVersion: 'SPDX-2.3',
    dataLicense: 'CC0-1.0',
    SPDXID: 'SPDXRef-DOCUMENT',
    name: `${name}-${version}`,
    documentNamespace: `https://oidcauth.invalid/sbom/${name}-${version}-${digest}`,
    creationInfo: {
        created: new Date(process.env.SOURCE_DATE_EPOCH * 1000).toISOString().replace('.000', ''),
        creators: ['Tool: oidcauth-scripts-release'],
    },
    packages,
    relationships,
};
process.stdout.write(`${JSON.stringify(document, undefined, 2)}\n`);
