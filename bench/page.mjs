// Measures the operator's page in a real browser. Started by bench/page.
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import net from 'node:net';
import os from 'node:os';
import path from 'node:path';
import { setTimeout as sleep } from 'node:timers/promises';

import { start_browser } from '../tests/driver/browser.mjs';
import { call } from '../tests/driver/http.mjs';
import { Pair } from '../tests/driver/pair.mjs';
import { chromium } from '../tests/e2e/node_modules/playwright-core/index.mjs';
import * as made_up from '../tests/e2e/support/page_status.mjs';
import { page_address } from '../tests/e2e/support/page_view.mjs';
import { ms, say, spread } from './support/figures.mjs';

const transfers = Number(process.argv[2]);

// The document's request until the browser has painted it, and until its first status is on the
// screen, as the page itself sees them.
async function measure_first_render(page) {
  await page.addInitScript(`if (window === top) {
    const watch = setInterval(() => {
      if (typeof state === 'undefined' || !state) return;
      clearInterval(watch);
      requestAnimationFrame(() => { window.first_render = performance.now(); });
    }, 1);
  }`);
  const painted = [];
  const rendered = [];
  for (let load = 0; load < 20; load += 1) {
    await page.goto(page_address);
    await page.waitForFunction('window.first_render');
    painted.push(
      await page.evaluate("performance.getEntriesByName('first-contentful-paint')[0].startTime"),
    );
    rendered.push(await page.evaluate('window.first_render'));
  }
  say('navigation -> first paint', spread(painted));
  say('navigation -> first status rendered', spread(rendered));
}

const full_status = () => {
  const ids = Array.from({ length: 128 }, (_, index) => `output-${index}`);
  const outputs = ids.map((id) => made_up.output(id));
  return made_up.status({
    protection: made_up.protection({
      policy: made_up.policy({
        outputRules: ids.map((id) => ({ mainId: id, backupId: id, mode: 2 })),
        actions: Array.from({ length: 32 }, () => made_up.action()),
      }),
      systems: [made_up.health('SER-A', { outputs }), made_up.health('SER-B', { outputs })],
      alerts: Array.from({ length: 200 }, (_, index) => made_up.alert(index + 1)),
    }),
  });
};

// 200 alerts, 128 rules, 32 actions, the protection dialog open.
async function measure_render(browser) {
  const page = await browser.newPage({ viewport: { width: 1920, height: 1080 } });
  await page.route('**/api/status', (route) =>
    route.fulfill({ headers: { 'Access-Control-Allow-Origin': '*' }, json: full_status() }),
  );
  await page.route('http://10.77.0.*/**', (route) => route.fulfill({ body: '' }));
  await page.goto(page_address);
  await page.click('text=Health & Alerts');
  for (const [what, change] of [
    ['poll that changes nothing', ''],
    [
      'poll that brings an alert',
      'state.protection.alerts = [...state.protection.alerts.slice(1), { ...state.protection.alerts[0], id: 1000 + round }];',
    ],
  ]) {
    const { render, layout } = await page.evaluate(`(async () => {
      const times = { render: [], layout: [] };
      for (let round = 0; round < 100; round += 1) {
        await new Promise(requestAnimationFrame);
        ${change}
        const begin = performance.now();
        render();
        const rendered = performance.now();
        document.body.offsetHeight;
        times.render.push(rendered - begin);
        times.layout.push(performance.now() - rendered);
      }
      return times;
    })()`);
    say(`render, 200 alerts, 128 rules, ${what}`, spread(render));
    say("  the browser's own style and layout after it", spread(layout));
  }
  await page.close();
}

async function measure_frame(page, pair) {
  const times = [];
  for (let run = 0; run < transfers; run += 1) {
    await pair.settle();
    await page.waitForFunction("elvantrisUi.src.includes('Role=main')");
    await sleep(Math.random() * 500); // any phase of the page's polling
    await pair.main.set({ engine: 'stopped' });
    await page.waitForFunction("elvantrisUi.src.includes('Role=backup')", null, { polling: 5 });
    times.push(
      await page.evaluate(() => {
        const notice = state.protection.alerts.findLast(({ severity }) => severity === 'notice');
        const pointed = Number(elvantrisUi.src.split('&t=')[1]);
        return pointed - notice.started;
      }),
    );
  }
  await pair.settle();
  say('transfer -> the frame pointed at Backup', spread(times));
}

// The browser's connections to the API that are open now.
function connections() {
  const lines = execFileSync('ss', ['-Htn', 'state', 'established', 'dport = :5251'], {
    encoding: 'utf8',
  });
  return lines
    .trim()
    .split('\n')
    .filter(Boolean)
    .map((line) => line.trim().split(/\s+/)[2]);
}

// A browser that knows a page opens spare connections ahead of need. So this one has a profile to
// learn in, and nothing of what is usually switched off for tests. Pages come and go while every
// poll's way through the API is timed.
async function measure_spare_connections() {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'elvantris-page-bench-'));
  const context = await chromium.launchPersistentContext(folder, {
    executablePath: '/usr/bin/chromium',
    ignoreDefaultArgs: true,
    args: [
      '--headless',
      '--no-sandbox',
      '--no-first-run',
      '--remote-debugging-pipe',
      `--user-data-dir=${folder}`,
      'about:blank',
    ],
  });
  const lives = new Map();
  const polls = [];
  let missed = 0;
  for (let visit = 0; visit < 12; visit += 1) {
    const page = await context.newPage();
    await page.goto(page_address);
    for (const end = Date.now() + 3000; Date.now() < end; await sleep(20)) {
      for (const one of connections()) {
        const [first] = lives.get(one) ?? [Date.now()];
        lives.set(one, [first, Date.now()]);
      }
    }
    const timed = await page.evaluate(() =>
      performance
        .getEntriesByType('resource')
        .filter(({ name }) => name.endsWith('/api/status'))
        .map(({ duration }) => duration),
    );
    polls.push(...timed);
    if (timed.length < 6) missed += 1;
    await page.close();
  }
  await context.close();
  fs.rmSync(folder, { recursive: true, force: true });
  const longest = Math.max(0, ...[...lives.values()].map(([first, last]) => last - first));
  say('a poll, from the page and back', spread(polls));
  say('visits of 3 s with less than 6 polls answered', `${missed} of 12`);
  say('connections to the API seen, the longest for', `${lives.size}, ${ms(longest)}`);
}

// What a silent connection would do, if there were one.
async function measure_silent_client() {
  const silent = net.connect(5251, '127.0.0.1');
  await new Promise((resolve) => silent.on('connect', resolve));
  if (connections().length === 0) throw new Error('open connections are not seen');
  const begin = performance.now();
  const answered = await call('127.0.0.1', 5251, 'GET', '/api/status', undefined, 3000).catch(
    () => null,
  );
  silent.destroy();
  say(
    'status behind a client that says nothing',
    answered ? ms(performance.now() - begin) : 'none within 3 s',
  );
}

const pair = await Pair.start();
const browser = await start_browser();
try {
  const page = await browser.newPage({ viewport: { width: 1920, height: 1080 } });
  const { body } = await call('127.0.0.1', 5270, 'GET', '/');
  say('the document', `${(Buffer.byteLength(body) / 1024).toFixed(1)} KiB`);
  await measure_first_render(page);
  await measure_frame(page, pair);
  await page.close();
  await measure_render(browser);
  await measure_spare_connections();
  await measure_silent_client();
} finally {
  await browser.close();
  await pair.stop();
}
