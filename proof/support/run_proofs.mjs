// The command line of proof/run.
import { parseArgs } from 'node:util';

import { proofs } from '../proofs.mjs';
import { build_target } from './builds.mjs';
import { render_documents } from './document.mjs';
import { write_result } from './results.mjs';

function usage() {
  const names = proofs.map(({ name }) => name).join(', ');
  console.error(`usage: proof/run [NAME] [--minutes N]\n  NAME: ${names}`);
  process.exit(2);
}

function read_arguments() {
  try {
    const { values, positionals } = parseArgs({
      allowPositionals: true,
      options: { minutes: { type: 'string' } },
    });
    const minutes = values.minutes === undefined ? Infinity : Number(values.minutes);
    const wanted =
      positionals.length === 0 ? proofs : proofs.filter((one) => one.name === positionals[0]);
    if (!(minutes > 0) || positionals.length > 1 || wanted.length === 0) usage();
    return { minutes, wanted };
  } catch {
    return usage();
  }
}

// A proof that can't be carried out has failed.
async function outcome_of({ prove, build }, minutes) {
  try {
    build_target(...build);
    return await prove({ deadline: Date.now() + minutes * 60_000 });
  } catch (error) {
    console.error(error);
    return { passed: false, amount: 'none', outcome: 'could not run', bound: '', rows: [] };
  }
}

async function run_one(proof, minutes) {
  const started = performance.now();
  const result = await outcome_of(proof, minutes);
  const seconds = Math.round((performance.now() - started) / 1000);
  const { passed, amount, outcome, bound, columns, rows } = result;
  console.log([proof.name, amount, outcome, bound, `${seconds} s`].join(' | '));
  if (rows.length > 0) write_result(proof.name, { passed, seconds, columns, rows });
  return passed;
}

const { minutes, wanted } = read_arguments();
let all_passed = true;
for (const proof of wanted) all_passed = (await run_one(proof, minutes)) && all_passed;
render_documents();
process.exit(all_passed ? 0 : 1);
