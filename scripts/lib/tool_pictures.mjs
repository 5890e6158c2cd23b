// Takes a picture of what each command of the console tool says, as a terminal shows it: the real
// tool beside the real program and simulated servers. Started by scripts/screenshots.
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { setTimeout as sleep } from 'node:timers/promises';

import { start_browser } from '../../tests/driver/browser.mjs';
import { run_to_its_end } from '../../tests/driver/children.mjs';
import { Device } from '../../tests/driver/network.mjs';
import { operate, until_active, until_alert } from '../../tests/driver/operator.mjs';
import { command, Pair } from '../../tests/driver/pair.mjs';
import { ask_tool, ask_tool_json, start_tool } from '../../tests/driver/tool.mjs';
import { until } from '../../tests/driver/waiting.mjs';

const [, , folder] = process.argv;
const tool = 'elvantris-redundancy-tool';

const style = `
  body { margin: 0; background: #14181d }
  pre {
    display: inline-block; box-sizing: content-box; width: 110ch; margin: 0; padding: 18px 22px;
    background: #14181d; color: #d8dee6; font: 14px/1.4 'DejaVu Sans Mono', monospace;
    white-space: pre-wrap; overflow-wrap: anywhere;
  }
  b { color: #7fd1b9; font-weight: normal }`;

const device = await Device.start();
const pair = await Pair.start();
const browser = await start_browser();
const page = await browser.newPage({
  viewport: { width: 1100, height: 600 },
  deviceScaleFactor: 2,
});

const escaped = (text) => text.replaceAll('&', '&amp;').replaceAll('<', '&lt;');
const typed = (line) => `<b>$ ${escaped(line)}</b>\n`;

async function take(name, ...pieces) {
  await page.setContent(`<style>${style}</style><pre>${pieces.join('').trimEnd()}</pre>`);
  const file = path.join(folder, `tool-${name}.png`);
  await page.locator('pre').screenshot({ path: file });
  // A few shades are all that text takes.
  const few_shades = ['-colors', '16', '-strip', '-define', 'png:compression-level=9'];
  execFileSync('convert', [file, '+dither', ...few_shades, `PNG8:${file}`]);
}

// The pair's folder of this run is nobody's business.
async function asked(...words) {
  const { output, errors } = await ask_tool(pair.workstation, ...words);
  const data = `${path.dirname(pair.workstation.config)}/`;
  const told = (output + errors).replaceAll(data, '');
  return typed([tool, ...words].join(' ')) + escaped(told);
}

// Events that are some seconds apart can be told from one another.
const moment_ms = 2500;

async function stop_engine(server, alert) {
  await server.set({ engine: 'stopped' });
  await until_alert(alert);
}

const backup_not_ready = 'Backup is not ready; automatic protection is degraded.';
const blocked = 'Main fault detected; failover blocked because Backup is not ready.';

const until_told = (what, sub_command, satisfied) =>
  until(what, async () => satisfied(await ask_tool_json(pair.workstation, sub_command)));

async function show_check() {
  await stop_engine(pair.backup, backup_not_ready);
  const not_ready = await asked('check');
  await pair.backup.heal();
  await until_told('READY', 'check', ({ code }) => code === 0);
  await take('check', not_ready, '\n', await asked('check'));
}

async function show_doctor() {
  await until_told('HEALTHY', 'doctor', ({ code }) => code === 0);
  await take('doctor', await asked('doctor'));
}

async function show_explain() {
  fs.rmSync(pair.workstation.alert_log);
  await stop_engine(pair.backup, backup_not_ready);
  await sleep(moment_ms);
  await stop_engine(pair.main, blocked);
  await until_told('it is in the log', 'explain', ({ outcome }) => outcome === 'blocked');
  await take('explain', await asked('explain'));
}

async function show_timeline() {
  await pair.settle({ actions: [command('Router')] });
  fs.rmSync(pair.workstation.alert_log);
  await stop_engine(pair.main, 'Main: Engine stopped or exited.');
  await until_active('backup');
  await sleep(moment_ms);
  await pair.main.heal();
  await sleep(moment_ms);
  await until('operation is back on Main', async () => (await operate('main')).ok);
  const returned = ({ timeline }) => timeline.filter(({ kind }) => kind === 'moved').length === 2;
  await until_told('the return is in the log', 'timeline', returned);
  await take('timeline', await asked('timeline'));
}

async function show_metrics() {
  const exporter = start_tool(pair.workstation, 'metrics');
  await until('the exporter runs', () => exporter.text.errors.includes('Ctrl-C'));
  const chief = "grep -E '^elvantris_(up|fail|held|active|server_answer_)'";
  const reading = `curl -s http://127.0.0.1:5280/metrics | ${chief}`;
  const { output } = await run_to_its_end(['bash', '-c', reading]);
  const begun = typed(`${tool} metrics &`) + escaped(exporter.text.errors);
  await take('metrics', begun, '\n', typed(reading), escaped(output));
  await exporter.signal('SIGTERM');
}

try {
  await show_check();
  await show_doctor();
  await show_metrics();
  await show_explain();
  await show_timeline();
  await take('bundle', await asked('bundle', 'for-support.zip'));
} finally {
  await browser.close();
  await pair.stop();
  await device.stop();
}
