// The system's own Chromium, with a profile that lives no longer than the test.
import { chromium } from '../e2e/node_modules/playwright-core/index.mjs';

export function start_browser(...args) {
  return chromium.launch({
    executablePath: '/usr/bin/chromium',
    args: [
      '--headless',
      '--no-sandbox',
      '--disable-gpu',
      '--disable-quic',
      '--no-first-run',
      '--disable-background-networking',
      '--disable-component-update',
      '--disable-sync',
      ...args,
    ],
  });
}
