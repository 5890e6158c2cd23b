// The console tool, as an operator starts it: in the workstation's namespace, beside the program.
import path from 'node:path';

import { Child, run_to_its_end } from './children.mjs';
import { program, windows } from './environment.mjs';
import { seen_by_program } from './workstation.mjs';

const tool = path.join(path.dirname(program), `elvantris-redundancy-tool${windows ? '.exe' : ''}`);

// The bus is the same, and the virtual decks' control and journal are the program's.
function environment_of(workstation) {
  const environment = { ...workstation.environment };
  delete environment.ELVANTRIS_VIRTUAL_DECKS_PORT;
  delete environment.ELVANTRIS_VIRTUAL_DECKS_JOURNAL;
  return environment;
}

function launch(under, workstation, words) {
  const command = [...under, ...(windows ? ['wine'] : []), tool, ...words];
  return [command, { cwd: workstation.folder, env: environment_of(workstation) }];
}

// One that goes on until it is ended.
export const start_tool = (workstation, ...words) => new Child(...launch([], workstation, words));

// Its exit code and what it said. `under` is a program that becomes the tool, such as one that
// gives up rights first.
export const run_tool_under = (under, workstation, ...words) =>
  run_to_its_end(...launch(under, workstation, words));

export const run_tool = (...details) => run_tool_under([], ...details);

export const with_files_of = (workstation) => ['--config', seen_by_program(workstation.config)];

// One sub-command about this workstation's own files.
export const ask_tool = (workstation, ...words) =>
  run_tool(workstation, ...words, ...with_files_of(workstation));

export async function ask_tool_json(workstation, ...words) {
  const { code, output } = await ask_tool(workstation, ...words, '--json');
  return { code, ...JSON.parse(output) };
}
