// The console tool, as an operator starts it: in the workstation's namespace, beside the program.
import path from 'node:path';

import { Child, run_to_its_end } from './children.mjs';
import { program, windows } from './environment.mjs';
import { seen_by_program } from './workstation.mjs';

const tool = path.join(path.dirname(program), `elvantris-redundancy-tool${windows ? '.exe' : ''}`);

function launch(workstation, words) {
  const command = [...(windows ? ['wine'] : []), tool, ...words];
  return [command, { cwd: workstation.folder, env: workstation.environment }];
}

// Its exit code and what it said.
export const run_tool = (workstation, ...words) => run_to_its_end(...launch(workstation, words));

// One that goes on until it is ended.
export const start_tool = (workstation, ...words) => new Child(...launch(workstation, words));

export const with_files_of = (workstation) => ['--config', seen_by_program(workstation.config)];

// One sub-command about this workstation's own files.
export const ask_tool = (workstation, ...words) =>
  run_tool(workstation, ...words, ...with_files_of(workstation));

export async function ask_tool_json(workstation, ...words) {
  const { code, output } = await ask_tool(workstation, ...words, '--json');
  return { code, ...JSON.parse(output) };
}
