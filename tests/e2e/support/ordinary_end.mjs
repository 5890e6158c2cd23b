// An end in order on both systems: a program whose page can have neither the port that is wanted
// nor its previous one gives up by itself.
import { occupy } from '../../driver/http.mjs';
import { post, until_status } from '../../driver/operator.mjs';
import { until } from '../../driver/waiting.mjs';

const wanted_port = 5291;

// Has the port in the moment in which it is free, should there be one soon.
async function snatch(port) {
  const end = Date.now() + 1500;
  while (Date.now() < end) {
    try {
      return await occupy(port);
    } catch {
      await new Promise((resolve) => setImmediate(resolve));
    }
  }
  return undefined;
}

export async function end_for_want_of_ports({ program }, port = 5270) {
  const wanted = await occupy(wanted_port);
  let previous;
  try {
    // Which of the two is quicker at the previous port is chance; the program goes on if it is.
    for (let tries = 0; tries < 60 && !previous; tries += 1) {
      await until_status('the port is the previous one', ({ uiPort }) => uiPort === port);
      const moved = post('/api/configure', { uiPort: wanted_port });
      [previous] = await Promise.all([snatch(port), moved]);
    }
    return await until('the program ends', () => program.ended && program.exited);
  } finally {
    await previous?.release();
    await wanted.release();
  }
}
