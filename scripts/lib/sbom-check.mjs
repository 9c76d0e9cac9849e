// Fails if an SBOM violates an SPDX 2.3 rule that it could violate, or does not match the packages
// beside it.
//
//   node sbom-check.mjs FILE

import { createHash } from 'node:crypto';
import { readFileSync, readdirSync } from 'node:fs';
import { dirname, join } from 'node:path';

const [file] = process.argv.slice(2);
const sbom = JSON.parse(readFileSync(file));
const faults = [];
const expect = (condition, fault) => condition || faults.push(fault);
const known = new Set(['SPDXRef-DOCUMENT']);
const types = ['DESCRIBES', 'DEPENDS_ON', 'DYNAMIC_LINK', 'STATIC_LINK', 'BUILD_DEPENDENCY_OF'];

expect(sbom.spdxVersion === 'SPDX-2.3', 'spdxVersion');
expect(sbom.dataLicense === 'CC0-1.0', 'dataLicense');
expect(sbom.SPDXID === 'SPDXRef-DOCUMENT', 'SPDXID of the document');
expect(/^https:\/\/[^#]+$/.test(sbom.documentNamespace), 'documentNamespace');
expect(/^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ$/.test(sbom.creationInfo?.created), 'created');
expect(sbom.creationInfo?.creators?.every((who) => /^(Tool|Organization|Person): ./.test(who)), 'creators');
for (const one of sbom.packages) {
    expect(/^SPDXRef-[a-zA-Z0-9.-]+$/.test(one.SPDXID), `SPDXID ${one.SPDXID}`);
    expect(!known.has(one.SPDXID), `${one.SPDXID} is there twice`);
    known.add(one.SPDXID);
    expect(one.name && one.versionInfo && one.downloadLocation, `${one.SPDXID} lacks a member`);
    expect(one.filesAnalyzed === false, `${one.SPDXID}: its files are not listed`);
}
for (const { spdxElementId, relationshipType, relatedSpdxElement } of sbom.relationships) {
    const what = `${spdxElementId} ${relationshipType} ${relatedSpdxElement}`;
    expect(types.includes(relationshipType), `no such relationship: ${what}`);
    expect(known.has(spdxElementId) && known.has(relatedSpdxElement), `refers to nothing: ${what}`);
}
const related = new Set(sbom.relationships.flatMap((one) => [one.spdxElementId, one.relatedSpdxElement]));
known.forEach((id) => expect(related.has(id), `${id} is related to nothing`));

const folder = dirname(file);
const files = readdirSync(folder).filter((name) => name.endsWith('.deb'));
const described = sbom.packages.filter(({ packageFileName }) => packageFileName);
expect(files.length > 0 && files.length === described.length, 'its packages are not those beside it');
for (const { packageFileName, checksums } of described) {
    const digest = files.includes(packageFileName)
        ? createHash('sha256').update(readFileSync(join(folder, packageFileName))).digest('hex')
        : 'none';
    const [checksum] = checksums.filter(({ algorithm }) => algorithm === 'SHA256');
    expect(checksum?.checksumValue === digest, `checksum of ${packageFileName}`);
}
if (faults.length > 0) {
    console.error(`${file}:\n${faults.join('\n')}`);
    process.exit(1);
}
