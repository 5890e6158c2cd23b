// What each state looks like, beside the picture that was found good: small ones, as a photo of the
// screen would be. scripts/page_pictures makes them anew.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { test } from 'node:test';

import { root } from '../driver/environment.mjs';
import { page_states } from './support/page_states.mjs';
import { PageView } from './support/page_view.mjs';
import { difference, shrink } from './support/pictures.mjs';

const folder = path.join(root, 'tests', 'e2e', 'pictures');
const seen_folder = path.join(root, 'build', 'test', 'pictures');
const make_anew = process.env.ELVANTRIS_NEW_PICTURES === '1';
// Letters are drawn a little differently from one version of the browser to the next.
const tolerance = 0.0004;

const view = PageView.for_the_tests({ may_complain: true });
let desk; // where pictures are worked on
fs.mkdirSync(make_anew ? folder : seen_folder, { recursive: true });

async function take(open, viewport) {
  desk ??= await view.browser.newPage();
  await open(view, { viewport });
  // A machine too busy for its polls must not be taken for a program that hangs.
  await view.stop_polling();
  await view.page.evaluate('refresh()');
  await view.page.evaluate('document.fonts.ready');
  return shrink(desk, await view.page.screenshot({ animations: 'disabled', caret: 'hide' }));
}

for (const [width, height] of [
  [1920, 1080],
  [1366, 768],
  [1024, 768],
]) {
  for (const [name, open] of Object.entries(page_states)) {
    const file = `${name}-${width}.png`;
    test(`${name}_at_${width}_looks_as_it_should`, async () => {
      const picture = await take(open, { width, height });
      if (make_anew) return fs.writeFileSync(path.join(folder, file), picture);
      const differs = await difference(desk, picture, fs.readFileSync(path.join(folder, file)));
      if (differs <= tolerance) return undefined;
      fs.writeFileSync(path.join(seen_folder, file), picture);
      return assert.fail(`${(100 * differs).toFixed(2)} % differ: see build/test/pictures/${file}`);
    });
  }
}
