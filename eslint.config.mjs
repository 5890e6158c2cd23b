// Few rules, all of them errors: what is nearly always a mistake. How code is laid out is the
// formatter's business.
import fs from 'node:fs';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

const page_folder = fileURLToPath(new URL('src/local/page', import.meta.url));
const page_sources = ['shell', 'protection'].flatMap((piece) =>
  fs.readdirSync(path.join(page_folder, piece)).map((name) => path.join(page_folder, piece, name)),
);
const names_in = (ending, pattern) =>
  page_sources
    .filter((file) => file.endsWith(ending))
    .flatMap((file) => [...fs.readFileSync(file, 'utf8').matchAll(pattern)])
    .map(([, name]) => name);

// The page's scripts are one: what one of them declares, the others use.
const page_names = names_in('.js', /^(?:async function|function|const|let) (\w+)/gm);
const page_elements = [...names_in('.html', /\bid="(\w+)"/g), 'vorBanner'];

const as_globals = (names, value) => Object.fromEntries(names.map((name) => [name, value]));
const words = (text) => text.trim().split(/\s+/);
const everywhere = words(`
  AbortController AbortSignal Blob Response TextDecoder TextEncoder URL URLSearchParams atob
  clearInterval clearTimeout console fetch performance queueMicrotask setInterval setTimeout
  structuredClone
`);
const in_node = words('Buffer process setImmediate');
const in_browser = words(`
  AudioNode AudioParam AudioScheduledSourceNode MutationObserver OffscreenCanvas Option
  PerformanceObserver WebSocket createImageBitmap document getComputedStyle innerHeight innerWidth location navigator
  requestAnimationFrame window
`);

const rules = {
  eqeqeq: 'error',
  'no-cond-assign': 'error',
  'no-constant-condition': 'error',
  'no-dupe-keys': 'error',
  'no-eval': 'error',
  'no-fallthrough': 'error',
  'no-self-compare': 'error',
  'no-throw-literal': 'error',
  'no-undef': 'error',
  'no-unreachable': 'error',
  'no-unsafe-finally': 'error',
  'no-unused-vars': 'error',
  'no-var': 'error',
  'prefer-const': 'error',
};
// One file may declare what only another uses or changes.
const rules_of_one_script = {
  ...rules,
  'no-unused-vars': ['error', { vars: 'local' }],
  'prefer-const': 'off',
};

export default [
  { ignores: ['build/', '**/node_modules/'] },
  {
    files: ['**/*.mjs'],
    languageOptions: { globals: as_globals([...everywhere, ...in_node], 'readonly') },
    rules,
  },
  {
    // What these hand to the browser runs in the page.
    files: [
      ...['tests/e2e/page_*.mjs', 'tests/e2e/support/{page_*,pictures}.mjs', 'bench/page.mjs'],
      'proof/foreign_page/ways.mjs',
    ],
    languageOptions: {
      globals: as_globals([...in_browser, ...page_elements, ...page_names], 'readonly'),
    },
  },
  {
    files: ['rehearsal/page/*.js'],
    languageOptions: {
      sourceType: 'script',
      globals: as_globals([...everywhere, ...in_browser], 'readonly'),
    },
    rules,
  },
  {
    files: ['src/local/page/**/*.js'],
    languageOptions: {
      sourceType: 'script',
      globals: as_globals([...everywhere, ...in_browser, ...page_names], 'writable'),
    },
    rules: rules_of_one_script,
  },
];
