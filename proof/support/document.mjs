// The tables of the documents. Each stands between two marks with its proof's name, and only this
// file writes there.
import fs from 'node:fs';
import path from 'node:path';

import { proofs } from '../proofs.mjs';
import { read_result } from './results.mjs';

const root = path.resolve(import.meta.dirname, '../..');
const document_of = (proof) => proof.document ?? 'docs/reliability.md';
export const written_documents = [...new Set(proofs.map(document_of))];

const begin_of = (name) => `<!-- measured: ${name} -->`;
const end = '<!-- end -->';

const row = (cells) => `| ${cells.join(' | ')} |`;

function table_of(result) {
  if (!result) return 'Not yet run.';
  const { date, commit, machine, seconds, passed, rows } = result;
  const columns = result.columns ?? ['What', 'Amount', 'Outcome', 'Bound'];
  const head = [row(columns), `|${'---|'.repeat(columns.length)}`];
  const body = rows.map((one) =>
    row(Array.isArray(one) ? one : [one.what, one.amount, one.outcome, one.bound]),
  );
  const where = `${machine.cores} cores, ${machine.memory_gib} GiB, ${machine.kernel}`;
  const ending = `${passed ? 'Passed' : '**Failed**'} on ${date} in ${seconds} s: commit ${commit}; ${where}.`;
  return [...head, ...body, '', ending].join('\n');
}

function with_table(text, name) {
  const from = text.indexOf(begin_of(name));
  const to = text.indexOf(end, from);
  if (from < 0 || to < 0) throw new Error(`there is no place for the table of ${name}`);
  const before = text.slice(0, from + begin_of(name).length);
  return `${before}\n${table_of(read_result(name))}\n${text.slice(to)}`;
}

// The document as the results make it.
export const rendered = (name, text) =>
  proofs
    .filter((proof) => document_of(proof) === name)
    .reduce((made, proof) => with_table(made, proof.name), text);

export function render_documents() {
  for (const name of written_documents) {
    const file = path.join(root, name);
    fs.writeFileSync(file, rendered(name, fs.readFileSync(file, 'utf8')));
  }
}
