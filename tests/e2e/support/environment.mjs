// Where this run takes place: which system's program, in which network.
import os from 'node:os';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

import { addresses, until as until_within } from '../../simulator/network.mjs';

export { addresses };

// A limit for a machine that is busy with other things as well; an outcome ends the wait at once.
export const until = (what, ask, limitMs = 20000) => until_within(what, ask, limitMs);

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
