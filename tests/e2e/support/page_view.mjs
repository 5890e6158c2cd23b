// The real page in a real browser, looking at statuses that the test makes up: for what is hard to
// bring about with a real pair. Everything but the document itself is answered here.
import assert from 'node:assert/strict';
import { after, afterEach, before } from 'node:test';

import { start_browser } from '../../driver/browser.mjs';
import { patience_ms } from '../../driver/waiting.mjs';
import { Workstation } from '../../driver/workstation.mjs';
import { status } from './page_status.mjs';

export const page_address = 'http://127.0.0.1:5270/';

// Dark, as a server's own page is.
const server_page =
  '<!doctype html><title>server</title><style>html { background: #0f1216 }</style>';

// What a browser can complain of; a test that provokes such a thing takes it from here.
export function watch_complaints(page) {
  const complaints = [];
  page.on('pageerror', (error) => complaints.push(error.message));
  page.on('console', (line) => {
    if (line.type() === 'error') complaints.push(line.text());
  });
  return complaints;
}

export class PageView {
  // One for all tests of a file, to be called ahead of them. Unless it may, the browser complains
  // in none.
  static for_the_tests({ may_complain = false } = {}) {
    const view = new PageView();
    before(async () => {
      view.workstation = new Workstation();
      await view.workstation.start();
      view.browser = await start_browser();
    });
    if (!may_complain) afterEach(() => assert.deepEqual(view.complaints, []));
    after(async () => {
      await view.browser?.close();
      await view.workstation?.stop();
      await view.workstation?.remove();
    });
    return view;
  }

  complaints = [];

  // The page afresh at `query`, up to its first render; without a status, none ever comes. One
  // tab serves all tests of a file: a new one takes longer than most of them.
  async open(first, { query = '', viewport = { width: 1280, height: 720 } } = {}) {
    this.page ??= await this.new_page();
    await this.page.unrouteAll({ behavior: 'ignoreErrors' });
    this.status = first;
    this.posts = [];
    this.reply = { status: 200, json: { ok: true } };
    this.frames = [];
    await this.page.setViewportSize(viewport);
    await this.page.route('**', (route) => this.answer(route));
    await this.page.goto(page_address + query);
    if (first && typeof first === 'object') await this.page.waitForFunction('state !== null');
    this.complaints.length = 0; // of what was there before
    return this.page;
  }

  async new_page() {
    const page = await this.browser.newPage({ locale: 'en-US', timezoneId: 'UTC' });
    page.setDefaultTimeout(patience_ms);
    this.complaints = watch_complaints(page);
    this.hosts = new Set();
    return page;
  }

  answer(route) {
    const request = route.request();
    const { host, pathname } = new URL(request.url());
    this.hosts.add(host);
    if (host === '127.0.0.1:5251') {
      return request.method() === 'GET' ? this.answer_status(route) : this.take(route, pathname);
    }
    if (host.startsWith('10.77.0.')) {
      this.frames.push(request.url());
      return route.fulfill({ contentType: 'text/html', body: server_page });
    }
    return route.continue();
  }

  answer_status(route) {
    if (this.status === 'away') return route.abort();
    if (this.status === 'broken') return route.fulfill({ status: 404, body: 'not found' });
    if (!this.status) return undefined; // for ever on its way
    if (typeof this.status === 'string')
      return this.fulfill(route, { status: 200, body: this.status });
    return this.fulfill(route, { status: 200, json: this.status });
  }

  take(route, path) {
    const request = route.request();
    this.posts.push({
      path,
      type: request.headers()['content-type'],
      body: request.postData() ? JSON.parse(request.postData()) : undefined,
    });
    return this.reply === 'away' ? route.abort() : this.fulfill(route, this.reply);
  }

  fulfill(route, reply) {
    return route.fulfill({ headers: { 'Access-Control-Allow-Origin': '*' }, ...reply });
  }

  // Requests to `path` stay without an answer until they are released.
  async hold(path) {
    let release;
    const released = new Promise((resolve) => (release = resolve));
    let waiting = 0;
    await this.page.route(`**${path}`, async (route) => {
      waiting += 1;
      await released;
      await route.fallback();
    });
    return { release, waiting: () => waiting };
  }

  // Requests to `path` as they come; the test answers each of them.
  async collect(path) {
    const routes = [];
    await this.page.route(`**${path}`, (route) => {
      routes.push(route);
    });
    return routes;
  }

  // The time limits of requests stand still from here on.
  hold_limits() {
    return this.page.evaluate(() => {
      window.limits = [];
      AbortSignal.timeout = (ms) => {
        const limit = new AbortController();
        window.limits.push({ ms, limit });
        return limit.signal;
      };
    });
  }

  // As if all requests since had waited for so long.
  pass_limits(waited) {
    return this.page.evaluate((longest) => {
      for (const { ms, limit } of window.limits) if (ms <= longest) limit.abort();
    }, waited);
  }

  // Timers that are set from here on wait until they are run.
  hold_timers() {
    return this.page.evaluate(() => {
      window.timers = new Map();
      let last = 0;
      window.setTimeout = (act) => {
        last += 1;
        window.timers.set(last, act);
        return last;
      };
      window.clearTimeout = (id) => window.timers.delete(id);
    });
  }

  run_timers() {
    return this.page.evaluate(() => {
      for (const act of window.timers.values()) act();
      window.timers.clear();
    });
  }

  // No timer polls from here on; the page's list `requests` tells what it asks for all the same.
  stop_polling() {
    return this.page.evaluate(() => {
      for (let timer = setInterval(() => {}, 60000); timer > 0; timer -= 1) clearInterval(timer);
      window.requests = [];
      const { fetch } = window;
      window.fetch = async (address, details) => {
        const request = { path: new URL(address).pathname, sent: performance.now() };
        window.requests.push(request);
        try {
          return await fetch(address, details);
        } finally {
          request.answered = performance.now();
        }
      };
    });
  }

  // What the page has asked for since, as soon as it is so much.
  async until_requests(count) {
    await this.page.waitForFunction((wanted) => window.requests.length >= wanted, count);
    return this.page.evaluate('requests');
  }

  // One poll that brings this status.
  async show(next) {
    this.status = next;
    await this.page.evaluate('refresh()');
  }

  text(id) {
    return this.page.evaluate((name) => document.getElementById(name).textContent, id);
  }

  // Text, tooltip and class of many elements at once.
  read(...ids) {
    return this.page.evaluate(
      (names) =>
        Object.fromEntries(
          names.map((id) => {
            const { textContent, title, className } = document.getElementById(id);
            return [id, { text: textContent, title, dot: className.replace(/^dot ?/, '') }];
          }),
        ),
      ids,
    );
  }

  visible(id) {
    return this.page.isVisible(`#${id}`);
  }

  async open_setup(first = status(), options) {
    await this.open(first, options);
    await this.page.click('text=Configure Redundancy');
    await this.page.waitForSelector('#setupBg', { state: 'visible' });
    return this.page;
  }

  async open_protection(first = status(), options) {
    await this.open(first, options);
    await this.page.click('text=Health & Alerts');
    await this.page.waitForSelector('#vorProtectionBg', { state: 'visible' });
    return this.page;
  }

  // The text comes as the outcome of what was done before.
  until_text(id, text) {
    return this.page
      .waitForFunction(
        ([name, wanted]) => document.getElementById(name).textContent === wanted,
        [id, text],
      )
      .catch(async () => assert.equal(await this.text(id), text));
  }

  async assert_no_markup_taken() {
    assert.equal(await this.page.locator('img').count(), 0);
    assert.equal(await this.page.title(), 'Elvantris Redundancy Control');
  }
}
