// The tables of docs/reliability.md. Each stands between two marks with its proof's name, and only
// this file writes there.
import fs from 'node:fs';
import path from 'node:path';

import { proofs } from '../proofs.mjs';
import { read_result } from './results.mjs';

const document = path.resolve(import.meta.dirname, '../../docs/reliability.md');
const begin_of = (name) => `<!-- measured: ${name} -->`;
const end = '<!-- end -->';

const row = (cells) => `| ${cells.join(' | ')} |`;

function table_of(result) {
  if (!result) return 'Not yet run.';
  const { date, commit, machine, seconds, passed, rows } = result;
  const head = [row(['What', 'Amount', 'Outcome', 'Bound']), '|---|---|---|---|'];
  const body = rows.map(({ what, amount, outcome, bound }) => row([what, amount, outcome, bound]));
  const where = `${machine.cores} cores, ${machine.memory_gib} GiB, ${machine.kernel}`;
  const ending = `${passed ? 'Passed' : '**Failed**'} on ${date} in ${seconds} s: commit ${commit}; ${where}.`;
  return [...head, ...body, '', ending].join('\n');
}

function with_table(text, name) {
  const from = text.indexOf(begin_of(name));
  const to = text.indexOf(end, from);
  if (from < 0 || to < 0) throw new Error(`docs/reliability.md has no place for ${name}`);
  const before = text.slice(0, from + begin_of(name).length);
  return `${before}\n${table_of(read_result(name))}\n${text.slice(to)}`;
}

// The document as the results make it.
export const rendered = (text) => proofs.reduce((made, { name }) => with_table(made, name), text);

export function render_document() {
  fs.writeFileSync(document, rendered(fs.readFileSync(document, 'utf8')));
}
