// The messages of docs/wire.md.
import fs from 'node:fs';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

const file = path.join(path.dirname(fileURLToPath(import.meta.url)), '../../../docs/wire.md');
const sections = fs.readFileSync(file, 'utf8').split(/^## /m).slice(1);

const fences_of = (section) =>
  [...section.matchAll(/^```(\w+)(?: (\w+))?\n([^]*?)\n```$/gm)].map(([, kind, name, text]) => ({
    kind,
    name,
    text,
  }));

const fences = sections.flatMap(fences_of);

// The message of that name: the question and the answer of discovery, the bodies that the program
// sends, the event.
export const message = (name) => fences.find((fence) => fence.name === name).text;

// What a server answers: by path, in either spelling where the page has both.
export function answers(spelling) {
  const found = new Map();
  let target;
  for (const { kind, name, text } of fences) {
    if (kind === 'http') target = /^GET ([^?\s]+)/.exec(text)?.[1];
    else if (target && kind === 'json' && (name === spelling || !found.has(target)))
      found.set(target, text);
  }
  return found;
}
