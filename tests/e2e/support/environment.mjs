// Where this run takes place: which system's program, in which network.
import os from 'node:os';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

import { addresses, patience_ms, until } from '../../simulator/network.mjs';

export { addresses, patience_ms, until };

// For figures and moments that a busy machine can spoil. An attempt that came too late gives
// nothing, and is made again, so often and no more; a rule that it finds broken is thrown.
export async function in_time(what, attempt, most_tries = 5) {
  for (let tries = 0; tries < most_tries; tries += 1) {
    const outcome = await attempt();
    if (outcome) return outcome;
  }
  throw new Error(`too late ${most_tries} times: ${what}`);
}

export const root = path.join(path.dirname(fileURLToPath(import.meta.url)), '..', '..', '..');
export const windows = process.env.ELVANTRIS_SYSTEM === 'windows';
export const network = process.env.ELVANTRIS_NETWORK;
export const simulator = path.join(root, process.env.ELVANTRIS_BUILD ?? 'build/linux', 'simulator');
export const program = path.join(
  root,
  process.env.ELVANTRIS_PROGRAM ??
    (windows
      ? 'build/windows/elvantris-redundancy-control.exe'
      : 'build/linux/elvantris-redundancy-control'),
);

// The program broadcasts: it is started nowhere but inside the workstation's own namespace.
const own = Object.values(os.networkInterfaces()).flat();
if (!network || !own.some(({ address }) => address === addresses.workstation)) {
  throw new Error('run this through scripts/lib/e2e.sh');
}
