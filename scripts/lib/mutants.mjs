// Mutation testing: `scripts/mutants` tells how it is called.
import { execFileSync, spawn, spawnSync } from 'node:child_process';
import { once } from 'node:events';
import fs from 'node:fs';
import path from 'node:path';

const [folder, seed = '1', count = '60'] = process.argv.slice(2);
if (!folder || !fs.existsSync(`src/${folder}`) || !(Number(seed) >= 0) || !(Number(count) > 0)) {
  console.error('usage: scripts/mutants FOLDER [SEED [COUNT]]');
  process.exit(2);
}

const copy = path.resolve('build/mutants');
const binaries = path.join(copy, 'build/linux');
const wanted_rate = 0.95;
// The tests wait more than they compute: so many runs side by side share them.
const shards = 4;

// ---- What may be changed ----

const swaps = (kind, pairs) =>
  pairs.map(([from, to]) => ({
    kind,
    pattern: new RegExp(` ${from} `, 'g'),
    change: () => ` ${to} `,
  }));

// Our formatter puts a blank on both sides of an operator, and on no side of a template's bracket.
const rules = [
  ...swaps('comparison', [
    ['<', '<='],
    ['<=', '<'],
    ['>', '>='],
    ['>=', '>'],
    ['==', '!='],
    ['!=', '=='],
  ]),
  ...swaps('boolean operator', [
    ['&&', '||'],
    ['\\|\\|', '&&'],
  ]),
  { kind: 'constant', pattern: /\btrue\b/g, change: () => 'false' },
  { kind: 'constant', pattern: /\bfalse\b/g, change: () => 'true' },
  {
    kind: 'constant',
    pattern: /(?<![\w.'])\d[\d']*(?![\w.'])/g,
    change: (number) => `${Number(number.replaceAll("'", '')) + 1}`,
  },
  {
    kind: 'negated condition',
    pattern: /\b(?:if|while) \((?!const |auto |constexpr )(.+)\)(?= [{\w]|$)/g,
    change: (text) => text.replace(/\((.+)\)$/, '(!($1))'),
  },
  {
    kind: 'removed statement',
    pattern:
      /(?<=^ +)(?!return|throw|using|static|const|case)[\w.:[\]()*&>-]+(?:\(.*\)| \+?= .*|\+\+);$/g,
    change: () => ';',
  },
];

// Neither comments nor texts nor the preprocessor.
function code_of(line) {
  if (/^\s*#/.test(line)) return '';
  return line
    .replace(/"(?:[^"\\]|\\.)*"/g, (text) => `"${'~'.repeat(text.length - 2)}"`)
    .replace(/\/\/.*$/, '');
}

function mutants_of(file) {
  const found = [];
  fs.readFileSync(file, 'utf8')
    .split('\n')
    .forEach((line, index) => {
      const code = code_of(line);
      for (const { kind, pattern, change } of rules) {
        for (const { 0: match, index: at } of code.matchAll(pattern)) {
          const original = line.slice(at, at + match.length);
          const changed = line.slice(0, at) + change(original) + line.slice(at + match.length);
          found.push({ file, line: index, kind, from: line, to: changed });
        }
      }
    });
  return found;
}

// ---- Which are chosen ----

// A small generator (mulberry32), so that a seed says all.
function random_from(start) {
  let state = start;
  return () => {
    state = (state + 0x6d2b79f5) | 0;
    let mixed = Math.imul(state ^ (state >>> 15), 1 | state);
    mixed = (mixed + Math.imul(mixed ^ (mixed >>> 7), 61 | mixed)) ^ mixed;
    return ((mixed ^ (mixed >>> 14)) >>> 0) / 2 ** 32;
  };
}

function shuffled(list, random) {
  const result = [...list];
  for (let last = result.length - 1; last > 0; --last) {
    const other = Math.floor(random() * (last + 1));
    [result[last], result[other]] = [result[other], result[last]];
  }
  return result;
}

// ---- Whether anybody notices ----

const build = (target) =>
  spawnSync('nice', ['ninja', '-j2', '-C', binaries, target], { stdio: 'ignore' }).status === 0;

// A mutant that hangs is noticed when it takes many times as long as the sound program.
let time_limit_ms = 180_000;

async function shard_passes([program, ...words], shard) {
  const child = spawn(path.join(binaries, program), words, {
    stdio: 'ignore',
    timeout: time_limit_ms,
    killSignal: 'SIGKILL',
    env: { ...process.env, GTEST_TOTAL_SHARDS: shards, GTEST_SHARD_INDEX: shard },
  });
  const [status] = await once(child, 'exit');
  return status === 0;
}

async function passes(stage) {
  const count = stage[0].endsWith('_tests') ? shards : 1;
  const results = Array.from({ length: count }, (_, shard) => shard_passes(stage, shard));
  return (await Promise.all(results)).every(Boolean);
}

// The test suites of this folder: `TEST(suite, name)`.
function tests_of(layer) {
  const tests = `tests/${layer}/${folder}`;
  if (!fs.existsSync(tests)) return undefined;
  const suites = new Set();
  for (const name of fs.readdirSync(tests, { recursive: true })) {
    if (!name.endsWith('.cpp')) continue;
    const text = fs.readFileSync(path.join(tests, name), 'utf8');
    for (const [, suite] of text.matchAll(/^TEST(?:_[FP])?\((\w+),/gm)) suites.add(`*${suite}.*`);
  }
  return [`${layer}_tests`, '--gtest_fail_fast', `--gtest_filter=${[...suites].join(':')}`];
}

// The cheapest first: most mutants live no longer.
const stages = [
  folder === 'protection' && ['protection_model', '--cycles', '100000'],
  tests_of('unit'),
  tests_of('integration'),
].filter(Boolean);

// The stage that noticed; 'nobody', or 'the compiler' for what is no program at all.
async function who_notices({ file, line, to }) {
  const target = path.join(copy, file);
  const original = fs.readFileSync(target, 'utf8');
  const lines = original.split('\n');
  lines[line] = to;
  fs.writeFileSync(target, lines.join('\n'));
  try {
    for (const stage of stages) {
      if (!build(stage[0])) return 'the compiler';
      // Twice, for a busy machine fails a sound program now and then.
      if (!(await passes(stage)) && !(await passes(stage))) return stage[0];
    }
    return 'nobody';
  } finally {
    fs.writeFileSync(target, original);
  }
}

// What is as it was isn't built again.
function replace_if_changed(file, content) {
  if (fs.existsSync(file) && fs.readFileSync(file).equals(content)) return;
  fs.mkdirSync(path.dirname(file), { recursive: true });
  fs.writeFileSync(file, content);
}

async function prepare_copy() {
  fs.mkdirSync(path.join(copy, 'build'), { recursive: true });
  const listed = execFileSync('git', ['ls-files', '-co', '--exclude-standard', '-z'], {
    encoding: 'utf8',
  });
  const ours = new Set(listed.split('\0').filter((name) => name && fs.existsSync(name)));
  for (const name of fs.readdirSync(copy, { recursive: true })) {
    const file = path.join(copy, name);
    const stale = !name.startsWith('build') && !ours.has(name) && fs.lstatSync(file).isFile();
    if (stale) fs.rmSync(file);
  }
  for (const name of ours) replace_if_changed(path.join(copy, name), fs.readFileSync(name));
  fs.rmSync(path.join(copy, 'build/lib'), { force: true });
  fs.symlinkSync(path.resolve('build/lib'), path.join(copy, 'build/lib'));
  // A mutant is built once and run for seconds: the compiler's time counts.
  execFileSync(
    'cmake',
    [
      '--preset',
      'linux',
      '-DCMAKE_BUILD_TYPE=Debug',
      '-DCMAKE_CXX_FLAGS=-g0 -O1',
      `-DELVANTRIS_TESTED_FOLDER=${folder}`,
    ],
    {
      cwd: copy,
      stdio: ['ignore', 'ignore', 'inherit'],
      env: { CMAKE_CXX_COMPILER_LAUNCHER: 'ccache', ...process.env },
    },
  );
  for (const stage of stages) {
    if (!build(stage[0])) throw new Error(`${stage[0]} doesn't build without a mutant`);
  }
  const started = performance.now();
  for (const stage of stages) {
    if (!(await passes(stage))) throw new Error(`${stage[0]} fails without a mutant`);
  }
  time_limit_ms = Math.ceil(20_000 + 3 * (performance.now() - started));
}

const tell = ({ file, line, kind, from, to }) =>
  `${file}:${line + 1}: ${kind}\n  - ${from.trim()}\n  + ${to.trim()}`;

await prepare_copy();
const sources = execFileSync('git', ['ls-files', `src/${folder}/*.[ch]pp`], { encoding: 'utf8' });
const all = sources.trim().split('\n').flatMap(mutants_of);
const survivors = [];
let tried = 0;
for (const mutant of shuffled(all, random_from(Number(seed)))) {
  if (tried === Number(count)) break;
  const noticed = await who_notices(mutant);
  if (noticed === 'the compiler') continue;
  ++tried;
  if (noticed === 'nobody') survivors.push(mutant);
  console.log(`${tried} noticed by ${noticed}: ${tell(mutant)}`);
}
const killed = tried - survivors.length;
console.log(`\nsurvived:\n${survivors.map(tell).join('\n')}\n`);
console.log(`${killed} of ${tried} killed (${all.length} possible), seed ${seed}`);
process.exit(killed >= wanted_rate * tried ? 0 : 1);
