// What a disk may hold after the power is lost. Until a file is flushed, any of its writes may be
// missing, torn at any byte, or there with nothing but zeros in it. Until the folder is flushed, any
// of its changes of names may be missing, in any combination; a rename may also leave both names.
// Nothing orders a file's bytes against the names.

function written(content, { kind, at, size, bytes }) {
  if (kind === 'cut') {
    const cut = Buffer.alloc(size);
    content.copy(cut);
    return cut;
  }
  const made = Buffer.alloc(Math.max(content.length, at + bytes.length));
  content.copy(made);
  bytes.copy(made, at);
  return made;
}

const all_written = (content, changes) => changes.reduce(written, content);

// The parts of one write that may be all that reached the disk.
function* torn_writes(change) {
  if (change.kind !== 'write') return;
  for (let size = 1; size < change.bytes.length; size += 1) {
    yield { ...change, bytes: change.bytes.subarray(0, size) };
  }
  yield { ...change, bytes: Buffer.alloc(change.bytes.length) };
}

function* contents_after_crash({ flushed, changes }) {
  yield flushed;
  for (const [i, change] of changes.entries()) {
    const before = all_written(flushed, changes.slice(0, i));
    for (const torn of torn_writes(change)) yield written(before, torn);
    yield written(before, change);
    // Reordered: those that came later are there.
    yield all_written(before, changes.slice(i + 1));
  }
}

function name_changes_after_crash(changes) {
  let choices = [[]];
  for (const change of changes) {
    const sets = Object.entries(change).filter(([, file]) => file !== null);
    const half = sets.length < Object.keys(change).length ? [Object.fromEntries(sets)] : [];
    choices = choices.flatMap((chosen) => [
      chosen,
      ...[change, ...half].map((part) => [...chosen, part]),
    ]);
  }
  return choices;
}

function with_names(names, changes) {
  const made = new Map(names);
  for (const [name, file] of changes.flatMap(Object.entries)) {
    if (file === null) made.delete(name);
    else made.set(name, file);
  }
  return made;
}

export class Disk {
  constructor(files) {
    this.files = files.map(({ bytes }) => ({ flushed: bytes, changes: [] }));
    this.names = new Map(files.map(({ name }, number) => [name, number]));
    this.name_changes = [];
  }

  take(step) {
    if (step.kind === 'flush') {
      const file = this.files[step.file];
      this.files[step.file] = { flushed: all_written(file.flushed, file.changes), changes: [] };
    } else if (step.kind === 'flush_folder') {
      this.names = with_names(this.names, this.name_changes);
      this.name_changes = [];
    } else if (step.kind === 'names') {
      for (const file of Object.values(step.changes)) {
        if (file !== null) this.files[file] ??= { flushed: Buffer.alloc(0), changes: [] };
      }
      this.name_changes.push(step.changes);
    } else if (step.kind !== 'said') {
      this.files[step.file].changes.push(step);
    }
  }

  // As it is without a crash.
  now() {
    const names = with_names(this.names, this.name_changes);
    return new Map(
      [...names].map(([name, number]) => {
        const { flushed, changes } = this.files[number];
        return [name, all_written(flushed, changes)];
      }),
    );
  }

  // Every file in turn in all its ways, while the others have all of their writes or none.
  *after_crash() {
    for (const changes of name_changes_after_crash(this.name_changes)) {
      const names = with_names(this.names, changes);
      for (const torn of new Set(names.values())) {
        for (const content of contents_after_crash(this.files[torn])) {
          for (const others_written of [false, true]) {
            yield new Map(
              [...names].map(([name, number]) => {
                const file = this.files[number];
                if (number === torn) return [name, content];
                const rest = others_written ? file.changes : [];
                return [name, all_written(file.flushed, rest)];
              }),
            );
          }
        }
      }
    }
  }
}
