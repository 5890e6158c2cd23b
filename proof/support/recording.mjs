// What a run of the program does to the files of one folder, by its system calls.
//
// A step is one of
//   { kind: 'write', file, at, bytes }   { kind: 'cut', file, size }
//   { kind: 'names', changes }           of the folder: a name and its file, or null
//   { kind: 'flush', file }              { kind: 'flush_folder' }
//   { kind: 'said', line }               the program's own word of how far it is
// where a file is a number that stays the same under every name.
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';

const followed = [
  ...['open', 'openat', 'creat', 'close', 'write', 'pwrite64', 'writev', 'ftruncate', 'truncate'],
  ...['fsync', 'fdatasync', 'rename', 'renameat', 'renameat2', 'link', 'linkat', 'unlink'],
  ...['unlinkat', 'lseek', 'dup', 'dup2', 'dup3', 'sendfile', 'copy_file_range', 'fallocate'],
];

const text_of = (hex) => Buffer.from(hex.replaceAll('\\x', ''), 'hex');

function call_of(line) {
  const [, name, words, result] = /^(\w+)\((.*)\)\s+= (-?\d+)/.exec(line) ?? [];
  if (name === undefined || Number(result) < 0) return undefined;
  const texts = [...words.matchAll(/"((?:\\x[0-9a-f]{2})*)"/g)].map(([, hex]) => text_of(hex));
  const numbers = words.split(', ').map((word) => Number.parseInt(word, 10));
  return { name, words, texts, numbers, result: Number(result) };
}

// Follows names and descriptors through the calls, and writes down the steps.
class Follower {
  constructor(folder, files) {
    this.folder = folder;
    this.names = new Map(files.map(({ name }, number) => [name, number]));
    this.sizes = files.map(({ bytes }) => bytes.length);
    this.open = new Map(); // by descriptor
    this.steps = [];
  }

  // The name of a file in our folder; absent for all others.
  name_of(text) {
    const whole = path.resolve(text.toString());
    return path.dirname(whole) === this.folder ? path.basename(whole) : undefined;
  }

  change_names(changes) {
    this.steps.push({ kind: 'names', changes });
    for (const [name, file] of Object.entries(changes)) {
      if (file === null) this.names.delete(name);
      else this.names.set(name, file);
    }
  }

  cut(file, size) {
    if (this.sizes[file] === size) return;
    this.steps.push({ kind: 'cut', file, size });
    this.sizes[file] = size;
  }

  on_open({ texts: [text], words, result }) {
    if (path.resolve(text.toString()) === this.folder) {
      this.open.set(result, { is_folder: true });
      return;
    }
    const name = this.name_of(text);
    if (name === undefined) return;
    if (!this.names.has(name)) {
      this.change_names({ [name]: this.sizes.length });
      this.sizes.push(0);
    }
    const file = this.names.get(name);
    if (words.includes('O_TRUNC')) this.cut(file, 0);
    this.open.set(result, { file, at: 0, appends: words.includes('O_APPEND') });
  }

  on_write({ texts, numbers: [descriptor], result }) {
    if (descriptor === 1) {
      const lines = texts[0].toString().split('\n').filter(Boolean);
      this.steps.push(...lines.map((line) => ({ kind: 'said', line })));
    }
    const opened = this.open.get(descriptor);
    if (!opened) return;
    const at = opened.appends ? this.sizes[opened.file] : opened.at;
    const bytes = texts[0].subarray(0, result);
    this.steps.push({ kind: 'write', file: opened.file, at, bytes });
    opened.at = at + bytes.length;
    this.sizes[opened.file] = Math.max(this.sizes[opened.file], opened.at);
  }

  on_flush({ numbers: [descriptor] }) {
    const opened = this.open.get(descriptor);
    if (!opened) return;
    this.steps.push(
      opened.is_folder ? { kind: 'flush_folder' } : { kind: 'flush', file: opened.file },
    );
  }

  on_rename({ texts: [from, to] }) {
    const [old_name, new_name] = [this.name_of(from), this.name_of(to)];
    if (old_name === undefined || new_name === undefined) return;
    this.change_names({ [new_name]: this.names.get(old_name), [old_name]: null });
  }

  on_link({ texts: [from, to] }) {
    const [old_name, new_name] = [this.name_of(from), this.name_of(to)];
    if (new_name !== undefined) this.change_names({ [new_name]: this.names.get(old_name) });
  }

  on_unlink({ texts: [text] }) {
    const name = this.name_of(text);
    if (name !== undefined) this.change_names({ [name]: null });
  }

  // A call that changes our files in a way that we don't follow must not go unseen.
  on_other(call) {
    const ours = call.numbers.some((number) => this.open.has(number));
    if (ours) throw new Error(`the recording has ${call.name}, which is not followed yet`);
  }

  follow(call) {
    const { name, numbers } = call;
    if (/^(open|openat|creat)$/.test(name)) this.on_open(call);
    else if (name === 'write') this.on_write(call);
    else if (/^f(data)?sync$/.test(name)) this.on_flush(call);
    else if (/^rename/.test(name)) this.on_rename(call);
    else if (/^link/.test(name)) this.on_link(call);
    else if (/^unlink/.test(name)) this.on_unlink(call);
    else if (name === 'ftruncate' && this.open.has(numbers[0])) {
      this.cut(this.open.get(numbers[0]).file, numbers[1]);
    } else if (name === 'close') this.open.delete(numbers[0]);
    else if (name !== 'lseek') this.on_other(call);
  }
}

const files_in = (folder) =>
  fs
    .readdirSync(folder)
    .sort()
    .map((name) => ({ name, bytes: fs.readFileSync(path.join(folder, name)) }));

// Runs the command. Gives the files before and after it, and the steps between.
export function record(folder, command) {
  const before = files_in(folder);
  const trace = path.join(path.dirname(folder), 'calls.txt');
  const calls = `trace=${followed.join(',')}`;
  execFileSync('strace', ['-o', trace, '-e', calls, '-xx', '-s', '99999999', ...command], {
    stdio: 'ignore',
  });
  const follower = new Follower(fs.realpathSync(folder), before);
  for (const line of fs.readFileSync(trace, 'latin1').split('\n')) {
    const call = call_of(line);
    if (call) follower.follow(call);
  }
  return { before, steps: follower.steps, after: files_in(folder) };
}
