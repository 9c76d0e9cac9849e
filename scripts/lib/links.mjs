// Reports broken links: in the API pages in the given folder, and between the hand-written pages as a code
// forge shows them.
import { execFileSync } from 'node:child_process';
import { existsSync, readdirSync, readFileSync } from 'node:fs';
import { dirname, join, normalize } from 'node:path';

const broken = [];
const cache = new Map();
const cached = (path, make) => cache.get(path) ?? cache.set(path, make(readFileSync(path, 'utf8'))).get(path);

/** @param anchorsOf returns the anchors of a page, from its text */
function check(page, link, anchorsOf) {
    if (/^[a-z]+:/i.test(link)) {
        return;
    }
    const [path, anchor] = decodeURI(link).split('#');
    const target = path ? normalize(join(dirname(page), path)) : page;
    if (!existsSync(target) || (anchor && !cached(target, anchorsOf).has(anchor))) {
        broken.push(`${page}: ${link}`);
    }
}

const anchorsOfHtml = (html) => new Set([...html.matchAll(/(?:id|name)="([^"]+)"/g)].map((match) => match[1]));
const folder = process.argv[2];
for (const name of readdirSync(folder).filter((file) => file.endsWith('.html'))) {
    const page = join(folder, name);
    for (const [, link] of readFileSync(page, 'utf8').matchAll(/(?:href|src)="([^"]+)"/g)) {
        check(page, link.replaceAll('&amp;', '&'), anchorsOfHtml);
    }
}

const withoutCode = (text) => text.replace(/^```.*?^```/gms, '').replace(/`[^`\n]*`/g, (code) => code.replace(/[[\]()#]/g, ''));
const anchorsOfProse = (text) =>
    new Set([...text.replace(/^```.*?^```/gms, '').matchAll(/^#+ (.*)$/gm)].map(([, heading]) =>
        heading.toLowerCase().replace(/[^\p{L}\p{N} _-]/gu, '').replaceAll(' ', '-')));
for (const page of execFileSync('git', ['ls-files', '*.md'], { encoding: 'utf8' }).trim().split('\n')) {
    // Doxygen checks its own references.
    const links = withoutCode(readFileSync(page, 'utf8')).matchAll(/\]\((?!@ref)([^)\s]+)\)/g);
    for (const [, link] of links) {
        check(page, link, anchorsOfProse);
    }
}

if (broken.length > 0) {
    console.error(`these links lead nowhere:\n${broken.join('\n')}`);
    process.exit(1);
}
