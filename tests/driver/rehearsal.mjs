// The rehearsal, as an operator starts it, and its page's own calls.
import path from 'node:path';

import { Child } from './children.mjs';
import { program, windows } from './environment.mjs';
import { call_json } from './http.mjs';
import { until } from './waiting.mjs';

export const rehearsal_program = path.join(
  path.dirname(program),
  `elvantris-rehearsal${windows ? '.exe' : ''}`,
);

export const rehearsal_page = 'http://127.0.0.1:5290/';
export const rehearsal_serials = { main: 'REHEARSAL-A', backup: 'REHEARSAL-B' };

export function launch_rehearsal(workstation, ...words) {
  const command = [...(windows ? ['wine'] : []), rehearsal_program, ...words];
  return new Child(command, { cwd: workstation.folder, env: workstation.environment });
}

export const until_rehearsal_runs = (child) =>
  until('the rehearsal runs', () => {
    if (child.ended) throw new Error(`ended: ${child.text.errors}`);
    return child.text.output.includes(`The rehearsal runs. Its page is ${rehearsal_page}`);
  });

export const rehearsal_state = () => call_json('127.0.0.1', 5290, 'GET', '/state');
export const rehearsal_act = (request) => call_json('127.0.0.1', 5290, 'POST', '/act', request);

export const card_of = (page, title) =>
  page.locator('.card', { has: page.getByRole('heading', { name: title }) });

// A card can begin when the program has nothing to say any more.
export async function until_begun(title) {
  const { scenarios } = await rehearsal_state();
  const scenario = scenarios.findIndex((one) => one.title.startsWith(title));
  await until(`"${title}" begins`, async () => {
    return !(await rehearsal_act({ act: 'begin', scenario })).refused;
  });
}
