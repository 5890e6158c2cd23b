// The console tool, as an operator starts it: in the workstation's namespace, beside the program.
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import fs from 'node:fs';
import path from 'node:path';

import { patience_ms, program, windows } from './environment.mjs';
import { seen_by_program } from './workstation.mjs';

const tool = path.join(path.dirname(program), `elvantris-redundancy-tool${windows ? '.exe' : ''}`);

// Through files, as a pipe may hold something yet when the process has gone.
async function run(command, options, folder) {
  const names = ['output', 'errors'].map((name) => path.join(folder, `tool-${name}`));
  const files = names.map((name) => fs.openSync(name, 'w'));
  const child = spawn(command[0], command.slice(1), {
    ...options,
    stdio: ['ignore', ...files],
    timeout: patience_ms,
    killSignal: 'SIGKILL',
  });
  const [code, signal] = await once(child, 'exit');
  for (const file of files) fs.closeSync(file);
  if (signal) throw new Error(`the tool was ended by ${signal}`);
  const [output, errors] = names.map((name) =>
    fs.readFileSync(name, 'utf8').replaceAll('\r\n', '\n'),
  );
  return { code, output, errors };
}

// Its exit code and what it said.
export function run_tool(workstation, ...words) {
  const command = [...(windows ? ['wine'] : []), tool, ...words];
  const options = { cwd: workstation.folder, env: workstation.environment };
  return run(command, options, workstation.folder);
}

export const with_files_of = (workstation) => ['--config', seen_by_program(workstation.config)];

// One sub-command about this workstation's own files.
export const ask_tool = (workstation, ...words) =>
  run_tool(workstation, ...words, ...with_files_of(workstation));

export async function ask_tool_json(workstation, ...words) {
  const { code, output } = await ask_tool(workstation, ...words, '--json');
  return { code, ...JSON.parse(output) };
}
