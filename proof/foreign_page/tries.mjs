// Tries every way from every place, in Chromium beside the real program, without and with the
// browser's policy. Started by bench/support/in_workstation; prints one line of JSON for each.
//   tries.mjs DEADLINE   milliseconds of the wall clock, or Infinity
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import http from 'node:http';
import path from 'node:path';

import { start_browser } from '../../tests/driver/browser.mjs';
import { Child } from '../../tests/driver/children.mjs';
import { addresses, network, root } from '../../tests/driver/environment.mjs';
import { call, call_json } from '../../tests/driver/http.mjs';
import { until } from '../../tests/driver/waiting.mjs';
import { Workstation } from '../../tests/driver/workstation.mjs';
import { none, own_page, ways } from './ways.mjs';

// An address that the browser takes for one of the internet; in this network there is no other way
// to have one.
const public_address = '203.0.113.20';
const sample_policy = path.join(root, 'packaging/browser/elvantris-redundancy-control.json');

const places = [
  { place: 'lan', address: `http://${addresses.device}:8000/`, has_a_name: true },
  { place: 'neighbour', address: 'http://127.0.0.1:8000/', has_a_name: false },
  { place: 'internet', address: `http://${public_address}:8000/`, has_a_name: true },
];

function give_public_address() {
  const on_device = ['-n', `${network}-device`, 'address', 'add', `${public_address}/32`];
  execFileSync('ip', [...on_device, 'dev', 'lan']);
  execFileSync('ip', ['route', 'add', public_address, 'dev', 'lan']);
}

async function start_stranger() {
  const file = path.join(import.meta.dirname, 'stranger.mjs');
  const words = ['netns', 'exec', `${network}-device`, process.execPath, file];
  const child = new Child(['ip', ...words, addresses.device, public_address]);
  await until('the stranger is ready', () => child.text.output.startsWith('ready'));
  return child;
}

// Another program of this computer with a page of its own.
const start_neighbour = () =>
  new Promise((resolve) => {
    const server = http.createServer((_, response) => {
      response.writeHead(200, { 'Content-Type': 'text/html' }).end('<p>Hello.');
    });
    server.listen(8000, '127.0.0.1', () => resolve(server));
  });

const tell_stranger = (word) => call(addresses.device, 8000, 'GET', `/${word}`);
const is_armed = async () =>
  (await call_json('127.0.0.1', 5251, 'GET', '/api/status')).protection.policy.armed;
const arm = () => call('127.0.0.1', 5251, 'POST', '/api/protection/operate', { operation: 'arm' });

// What reaches the program does so within a moment; what doesn't is given two seconds.
async function has_acted() {
  const deadline = Date.now() + 2000;
  while (Date.now() < deadline) {
    if (!(await is_armed())) return true;
    await new Promise((resolve) => setTimeout(resolve, 100));
  }
  return false;
}

let names_used = 0;
async function start_of({ address, place }, needs_a_name) {
  if (!needs_a_name) return address;
  await tell_stranger('bind');
  names_used += 1;
  return `http://${place}-${names_used}.stranger.example:5251/`;
}

async function try_way(browser, way, from) {
  if (Date.now() > Number(process.argv[2])) throw new Error('no time is left');
  if (way.needs_a_name && !from.has_a_name) return none;
  await arm();
  const context = await browser.newContext();
  try {
    const page = await context.newPage();
    await page.goto(await start_of(from, way.needs_a_name));
    const got = await way.attempt(page, { rebind: () => tell_stranger('rebind') });
    const words = [got, (await has_acted()) ? 'acts' : ''].filter(Boolean);
    return words.join(', ') || 'nothing';
  } finally {
    await context.close();
  }
}

// Whether the operator's own page goes on: it asks the API from the browser.
async function own_page_works(browser) {
  const page = await browser.newPage();
  const answered = page.waitForResponse(/:5251\/api\/status/, { timeout: 10_000 });
  await page.goto('http://127.0.0.1:5270/');
  const works = await answered.then((one) => one.ok()).catch(() => false);
  await page.close();
  return works ? 'works' : 'fails';
}

// Mounted over the machine's own folder in this namespace of mounts alone, and gone with it.
function use_policy() {
  execFileSync('mount', ['-t', 'tmpfs', 'none', '/etc/chromium']);
  const folder = '/etc/chromium/policies/managed';
  fs.mkdirSync(folder, { recursive: true });
  fs.copyFileSync(sample_policy, path.join(folder, path.basename(sample_policy)));
}

async function try_all(policy) {
  const browser = await start_browser();
  const tell = (what, place, outcome) =>
    console.log(JSON.stringify({ policy, what, place, outcome }));
  try {
    tell(own_page, 'lan', await own_page_works(browser));
    for (const way of ways) {
      for (const from of places) tell(way.what, from.place, await try_way(browser, way, from));
    }
  } finally {
    await browser.close();
  }
}

give_public_address();
const stranger = await start_stranger();
const neighbour = await start_neighbour();
const workstation = new Workstation();
try {
  await workstation.start();
  await try_all('without');
  use_policy();
  await try_all('with');
} finally {
  neighbour.close();
  await workstation.remove();
  await stranger.signal('SIGTERM');
}
