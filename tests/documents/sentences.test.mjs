// Every sentence that protection can say to the operator is in the guide, and the guide has no
// other.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { code_marks_of, read } from './support.mjs';

const literal = String.raw`"(?:[^"\\\n]|\\.)*"`;
const escapes = { n: '\n', t: '\t', r: '\r' };
const unescape = (text) => text.replace(/\\(.)/g, (_, letter) => escapes[letter] ?? letter);

// The texts of a source, neighbours joined as the compiler does.
function texts_of(name) {
  const code = read(name)
    .replace(/^\s*(#include|\/\/).*$/gm, '')
    .replace(/\s\/\/ .*$/gm, '')
    .replace(/'(?:[^'\\\n]|\\.)'/g, '');
  const joined = code.match(new RegExp(`${literal}(?:\\s+${literal})*`, 'g')) ?? [];
  return joined
    .map((group) => group.match(new RegExp(literal, 'g')))
    .map((parts) => parts.map((one) => one.slice(1, -1)).join(''))
    .map(unescape);
}

// What a page has in code marks and is no command, no path and no key: two words side by side.
const sentences_of = (page) =>
  code_marks_of(page).filter((text) => /[a-z] [a-z]/i.test(text) && !/^[%~]/.test(text));

// These words are in place of something that is known only when it happens.
const placeholder = /\b(?:ID|REASON|NAME|TEXT)\b/;

function is_made_of(sentence, texts) {
  if (sentence === '') return true;
  return texts.some(
    (text) => sentence.startsWith(text) && is_made_of(sentence.slice(text.length), texts),
  );
}

const guides = {
  'docs/guide/no-failover.md': [
    'src/protection/alert_texts.hpp',
    'src/protection/command_escapes.cpp',
    'src/protection/evaluation.cpp',
    'src/protection/outbound_sending.cpp',
    'src/protection/pair_protection.cpp',
    'src/protection/policy.cpp',
  ],
  'docs/guide/troubleshooting.md': ['src/systems/pairing_sync.cpp'],
};
// Pages that also have sentences of sources with many other texts.
const further_sources = {
  'docs/guide/troubleshooting.md': [
    'src/app/run_application.cpp',
    'src/app/services.cpp',
    'src/decks/operator_deck_manager.cpp',
    'src/platform/linux/single_instance.cpp',
    'src/platform/windows/single_instance.cpp',
    'src/systems/controller_registry.cpp',
  ],
};

for (const [name, sources] of Object.entries(guides)) {
  const page = read(name);
  const texts = sources.flatMap(texts_of);
  const all_texts = [...texts, ...(further_sources[name] ?? []).flatMap(texts_of)];

  test(`${name}_has_every_sentence_of_the_program`, () => {
    const sentences = texts.filter((text) => /[A-Za-z]/.test(text) && text.includes(' '));
    assert.ok(sentences.length > 5, `the sentences of ${sources.join(', ')} were not found`);
    for (const text of sentences) {
      const lack = `${name} lacks ${JSON.stringify(text)}: write it there, and what to do`;
      assert.ok(page.includes(text.trim()), lack);
    }
  });

  test(`${name}_has_no_sentence_that_the_program_never_says`, () => {
    const sentences = sentences_of(page);
    assert.ok(sentences.length > 10, `the sentences of ${name} were not found`);
    // What may come where two texts meet, and the API's port.
    const seams = [' /', ' ', ':', '5251'];
    const pieces = all_texts.flatMap((text) => [text, text.trim()]).concat(seams);
    const usable = pieces.filter(Boolean);
    for (const sentence of sentences) {
      const parts = sentence
        .split(placeholder)
        .map((part) => part.trim())
        .filter(Boolean);
      for (const part of parts.filter((part) => /[a-z]/.test(part))) {
        assert.ok(is_made_of(part, usable), `${name}: the program never says "${part}"`);
      }
    }
  });
}
