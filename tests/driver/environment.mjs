// Where this run takes place: which system's program, in which network.
import os from 'node:os';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

export const addresses = {
  workstation: '10.77.0.10',
  main: '10.77.0.11',
  backup: '10.77.0.12',
  spare: '10.77.0.13',
  device: '10.77.0.20',
};

export const root = path.join(path.dirname(fileURLToPath(import.meta.url)), '..', '..');
export const windows = process.env.ELVANTRIS_SYSTEM === 'windows';
export const network = process.env.ELVANTRIS_NETWORK;
export const build = path.join(root, process.env.ELVANTRIS_BUILD ?? 'build/linux');
export const simulator = path.join(build, 'simulator');
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
