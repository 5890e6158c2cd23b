// The simulator's programs, where their command line and their end are looked at.
import { once } from 'node:events';
import path from 'node:path';

import { simulator } from '../driver/environment.mjs';
import { launch_on } from '../driver/network.mjs';

// The end of a program that runs, with all that it has said by then.
export async function end_of({ process, text }) {
  const [code, signal] = await once(process, 'close');
  return { code, signal, ...text };
}

export const run_to_its_end = (host, program, ...options) =>
  end_of(launch_on(host, path.join(simulator, program), ...options));
