// The layers of src/ as they are meant: no library includes a header of one that it doesn't link,
// though all share one include path, and none but two knows of an operating system. The simulator
// and the rehearsal keep that in two folders as well.
import fs from 'node:fs';
import path from 'node:path';

const libraries = fs
  .readdirSync('src')
  .filter((name) => fs.existsSync(`src/${name}/CMakeLists.txt`));

// { PUBLIC: [...], PRIVATE: [...] }, by the folders' names.
function links_of(library) {
  const text = fs.readFileSync(`src/${library}/CMakeLists.txt`, 'utf8').replace(/#.*/g, '');
  const links = { PUBLIC: [], PRIVATE: [] };
  for (const [, list] of text.matchAll(/target_link_libraries\(elvantris_\w+([^)]*)\)/g)) {
    let kind;
    for (const word of list.split(/\s+/)) {
      if (word in links) kind = word;
      else if (word.startsWith('elvantris_')) links[kind].push(word.slice('elvantris_'.length));
    }
  }
  return links;
}

const links = Object.fromEntries(libraries.map((library) => [library, links_of(library)]));
const handed_on = (library) => [library, ...links[library].PUBLIC.flatMap(handed_on)];
const reach = (library) =>
  new Set([library, ...[...links[library].PUBLIC, ...links[library].PRIVATE].flatMap(handed_on)]);

const of_a_system =
  /^#\s*(?:if|elif).*(?:_WIN32|__linux__|WIN32)|^#include <(?:windows|winsock2|ws2tcpip|shellapi|shlobj|unistd|poll|signal|fcntl|pthread|netdb|sys\/.*|arpa\/.*|net\/.*|netinet\/.*|linux\/.*)\.?h?>/m;
const knows_systems = new Set(['os', 'platform']);

let breaches = 0;
function tell(breach) {
  console.error(breach);
  breaches += 1;
}

for (const library of libraries) {
  const allowed = reach(library);
  for (const name of fs.readdirSync(`src/${library}`, { recursive: true })) {
    if (!/\.[ch]pp$/.test(name)) continue;
    const file = path.join('src', library, name);
    const text = fs.readFileSync(file, 'utf8');
    for (const [, header] of text.matchAll(/^#include "(.+)"/gm)) {
      const owner = header.split('/')[0];
      if (libraries.includes(owner) && !allowed.has(owner)) {
        tell(`${file} includes ${header}, but ${library} doesn't link elvantris_${owner}`);
      }
    }
    const [found] = knows_systems.has(library) ? [] : (text.match(of_a_system) ?? []);
    if (found) tell(`${file} knows the operating system: ${found}`);
  }
}

// Around the program as well, so that both systems' builds have the same source. What stands in
// the program's own process knows Linux.
const of_linux = /^(?:linux|windows|virtual_decks)\/|^(?:scarce_threads|slow_disk)\.cpp$/;
for (const folder of ['simulator', 'rehearsal']) {
  for (const name of fs.readdirSync(folder, { recursive: true })) {
    if (!/\.[ch]pp$/.test(name) || of_linux.test(name)) continue;
    const file = path.join(folder, name);
    const [found] = fs.readFileSync(file, 'utf8').match(of_a_system) ?? [];
    if (found) tell(`${file} knows the operating system: ${found}`);
  }
}
process.exit(breaches === 0 ? 0 : 1);
