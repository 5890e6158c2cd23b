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

// For a machine that is busy with other things as well. What comes sooner ends the wait at once.
export const patience_ms = 60000;

// Asks again after each pause until the answer satisfies, which it has to within `limit_ms`.
export async function until(what, ask, limit_ms = patience_ms, pause_ms = 5) {
  const end = Date.now() + limit_ms;
  for (;;) {
    const answer = await ask();
    if (answer) return answer;
    if (Date.now() > end) throw new Error(`not within ${limit_ms / 1000} s: ${what}`);
    await new Promise((resolve) => setTimeout(resolve, pause_ms));
  }
}

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
