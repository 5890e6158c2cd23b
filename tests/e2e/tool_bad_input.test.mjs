// Whatever the tool finds in place of the program, its folder and its files: a sentence and an exit
// code, and nothing is changed.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { after, before, test } from 'node:test';

import { answer_with, call } from '../driver/http.mjs';
import { paired_config, quick_policy } from '../driver/pair.mjs';
import { ask_tool, ask_tool_json, start_tool } from '../driver/tool.mjs';
import { until } from '../driver/waiting.mjs';
import { Workstation, seen_by_program } from '../driver/workstation.mjs';
import { read_zip } from './support/zip.mjs';

const fault = 'Main: Engaged external clock is unavailable or unlocked.';
const fault_line = `{"time":1790000000000,"event":"fault","key":"A:clock","message":"${fault}"}\n`;
const two_gigabytes = 2 ** 31;
const own_status = '{"configPath":"operator-control.json","protection":{"heldOnBackup":tr';

const of_another_program = /^(- |status\.json: )?Another program answers on port 5251\./;
const taken_port = /^- Port 5251 is taken by /;
const unread_status = /^- The program is running, and its status can't be read\./;
const no_configuration = /^There is no configuration file at /;
const bad_configuration = /^- The configuration file is damaged\./;
const bad_protection = /^- The protection file can't be read\./;
const told_fault = / fault {4}Main: Engaged external clock /;
const damaged_line = /^Damaged lines of the log, left out: 1$/;

const another_program = {
  check: [1, of_another_program],
  doctor: [1, taken_port],
  explain: [1, of_another_program],
  timeline: [1, told_fault],
  bundle: [0, of_another_program],
  metrics: [200, /^elvantris_up 0$/],
};

// How each is made, and who reads it: the exit code and the sentence. Metrics go on after a reading,
// so theirs is the status of the reply. A set-up may give a way to end it.
const inputs = {
  another_program_that_answers_with_other_json: {
    set_up: () => answer_with(5251, 200, '{"status":"fine"}'),
    told: another_program,
  },
  another_program_that_knows_no_such_page: {
    set_up: () => answer_with(5251, 404, 'Not Found'),
    told: another_program,
  },
  a_status_that_cannot_be_read: {
    set_up: () => answer_with(5251, 200, own_status),
    told: {
      check: [1, unread_status],
      doctor: [1, unread_status],
      explain: [1, unread_status],
      timeline: [1, told_fault],
      bundle: [1, /^- Not in it: status\.json\. It is damaged, /],
      metrics: [200, /^elvantris_up 0$/],
    },
  },
  a_missing_folder: {
    set_up: ({ config }) => fs.rmSync(path.dirname(config), { recursive: true }),
    told: {
      check: [2, /^The program is not running\. .*There is no configuration file at /],
      doctor: [1, /^- The folder of the settings is not there: /],
      explain: [2, no_configuration],
      timeline: [2, no_configuration],
      bundle: [1, /^- Not in it: configuration\.json\. There is no /],
    },
  },
  a_damaged_configuration_file: {
    set_up: ({ config }) => fs.writeFileSync(config, '{"enabled":tr'),
    told: {
      check: [2, /^The program is not running\. .*The configuration file is damaged\. /],
      doctor: [1, bad_configuration],
      explain: [1, bad_configuration],
      bundle: [0, /^configuration\.json: the configuration file, /],
    },
  },
  a_folder_in_place_of_the_protection_file: {
    set_up: ({ state }) => {
      fs.rmSync(state);
      fs.mkdirSync(state);
    },
    told: {
      check: [1, bad_protection],
      doctor: [1, bad_protection],
      explain: [1, bad_protection],
      bundle: [1, /^- Not in it: protection\.json\. .* can't be read\. /],
    },
  },
  a_damaged_line_of_the_alert_log: {
    set_up: ({ alert_log }) => fs.appendFileSync(alert_log, '{"time":17\0\xff\n', 'latin1'),
    told: {
      doctor: [1, /alerts\.jsonl: 0\.0 MB/],
      explain: [1, damaged_line],
      timeline: [1, damaged_line],
      bundle: [0, /^alerts\.jsonl: the alert log, /],
    },
  },
  // It takes no room on the disk: all but its ends is a hole.
  an_alert_log_of_two_gigabytes: {
    set_up: ({ alert_log }) => {
      fs.truncateSync(alert_log, two_gigabytes);
      fs.appendFileSync(alert_log, `\n${fault_line}`);
    },
    told: {
      doctor: [1, /^- A log has grown to 2147 MB: /],
      explain: [1, /^Operation did not move for Main: Engaged external clock /],
      timeline: [1, told_fault],
      bundle: [0, /^alerts\.jsonl: the alert log, .*: its last 20 MB$/],
    },
  },
};

let exporter;
let exporters_place;
before(async () => {
  exporters_place = new Workstation();
  exporter = start_tool(exporters_place, 'metrics');
  await until('the exporter runs', () => exporter.text.errors.includes('/metrics. '));
});
after(async () => {
  await exporter?.signal('SIGKILL');
  await exporters_place?.remove();
});

async function scrape() {
  const { status, body } = await call('127.0.0.1', 5280, 'GET', '/metrics');
  return { code: status, output: body, errors: '' };
}

async function bundle(workstation) {
  const file = path.join(workstation.folder, 'bundle.zip');
  const told = await ask_tool(workstation, 'bundle', seen_by_program(file));
  const { 'contents.txt': contents } = read_zip(file);
  fs.rmSync(file);
  return { ...told, output: `${told.output}${contents}` };
}

function ask(workstation, command) {
  if (command === 'metrics') return scrape();
  return command === 'bundle' ? bundle(workstation) : ask_tool(workstation, command);
}

// Of the settings' folder: each name with its size and the moment of its last change.
function listing({ config }) {
  const folder = path.dirname(config);
  if (!fs.existsSync(folder)) return 'none';
  return fs.readdirSync(folder).map((name) => {
    const { size, mtimeMs } = fs.statSync(path.join(folder, name));
    return [name, size, mtimeMs];
  });
}

function assert_told({ code, output, errors }, [expected_code, sentence], command) {
  const text = `${command}: ${output}${errors}`;
  assert.equal(code, expected_code, text);
  if (code === 2) assert.equal(output, '', text);
  assert.equal(code === 2 ? errors.trimEnd().split('\n').length : errors, code === 2 ? 1 : '');
  const lines = `${output}${errors}`.split('\n');
  assert.equal(lines.filter((line) => sentence.test(line)).length, 1, text);
  assert.doesNotMatch(text, /terminat|exception|std::|what\(\)|The tool has failed/i);
}

for (const [name, { set_up, told }] of Object.entries(inputs)) {
  test(`${name}_is_a_sentence`, async () => {
    const workstation = new Workstation();
    workstation.write_config(paired_config());
    workstation.write_state(quick_policy);
    fs.writeFileSync(workstation.alert_log, fault_line);
    const held = await set_up(workstation);
    try {
      const earlier = listing(workstation);
      for (const [command, expected] of Object.entries(told)) {
        assert_told(await ask(workstation, command), expected, command);
        assert.deepEqual(listing(workstation), earlier, command);
      }
    } finally {
      await held?.release();
      await workstation.remove();
    }
  });
}

test('nothing_is_taken_for_known_that_a_bad_file_would_have_told', async () => {
  const workstation = new Workstation();
  workstation.write_config('{"enabled":tr');
  workstation.write_state('{"armed":tr');
  fs.writeFileSync(workstation.alert_log, fault_line);
  const { output } = await ask_tool(workstation, 'explain');
  assert.deepEqual(output.split('\n').slice(0, 5), [
    `Operation did not move for ${fault}`,
    '- It may have been disarmed, the pair disabled, or this condition may only alert: the log ' +
      'does not tell.',
    '- The program is not running.',
    '- The configuration file is damaged.',
    '- The protection file is damaged.',
  ]);
  const { ports } = await ask_tool_json(workstation, 'doctor');
  assert.deepEqual(
    ports.map(({ port }) => port),
    [5251],
  );
  await workstation.remove();
});
