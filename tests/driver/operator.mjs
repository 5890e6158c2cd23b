// What an operator does and sees, through the program's own API.
import assert from 'node:assert/strict';

import { call, call_json } from './http.mjs';
import { until } from './waiting.mjs';

const loopback = '127.0.0.1';

export async function get_status() {
  const reply = await call(loopback, 5251, 'GET', '/api/status');
  assert.equal(reply.status, 200);
  return JSON.parse(reply.body);
}

export const post = (path, body) => call_json(loopback, 5251, 'POST', path, body);

export const operate = (operation) => post('/api/protection/operate', { operation });

export const system_of = (status, serial) => status.systems.find((one) => one.serial === serial);
export const health_of = (status, serial) =>
  status.protection.systems.find((one) => one.serial === serial);
export const active_alerts = (status) =>
  status.protection.alerts.filter((alert) => alert.active).map(({ message }) => message);

export function until_status(what, satisfied) {
  return until(what, async () => {
    const status = await get_status();
    return satisfied(status) ? status : undefined;
  });
}

export const until_alert = (message) =>
  until_status(message, (status) => active_alerts(status).includes(message));

export const until_recovered = (message) =>
  until_status(`${message} recovered`, (status) => !active_alerts(status).includes(message));

// The parts of a status are read one after the other: what belongs together may lag.
export const until_active = (word) =>
  until_status(
    `active is ${word}`,
    ({ active, activeSerial, systems, protection }) =>
      active === word &&
      systems.find(({ serial }) => serial === activeSerial)?.role.toLowerCase() === word &&
      protection.heldOnBackup === (word === 'backup'),
  );
