// For support: one zip file with all that helps, without what the commands send.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { after, before, beforeEach, test } from 'node:test';

import { plug_into, xl } from '../driver/decks.mjs';
import { windows } from '../driver/environment.mjs';
import { Device } from '../driver/network.mjs';
import { get_status, until_active } from '../driver/operator.mjs';
import { Pair, command, paired_config, quick_policy } from '../driver/pair.mjs';
import { ask_tool, ask_tool_json, run_tool } from '../driver/tool.mjs';
import { until } from '../driver/waiting.mjs';
import { Workstation, seen_by_program } from '../driver/workstation.mjs';
import { read_zip } from './support/zip.mjs';

const secret = 'login admin S3cr3t\\r';
const commands = { actions: [command('Router', { payload: secret })] };

let pair;
let device;
let stopped;
before(async () => {
  // A command that fails would leave an alert for ever.
  device = await Device.start();
  pair = await Pair.start((workstation) => {
    if (!windows) plug_into(workstation, [xl]);
  });
});
after(async () => {
  await pair?.stop();
  await device?.stop();
});
beforeEach(() => {
  stopped = new Workstation();
});

// The tests' environment names no language: Wine then takes ASCII arguments only.
const bundle_of = ({ folder }) => path.join(folder, windows ? 'bundle.zip' : 'bündle.zip');
async function make_bundle(workstation, ...words) {
  const file = bundle_of(workstation);
  fs.rmSync(file, { force: true });
  const told = await ask_tool(workstation, 'bundle', seen_by_program(file), ...words);
  return { ...told, texts: fs.existsSync(file) ? read_zip(file) : undefined };
}
const everything = (texts) => Object.values(texts).join('\n');

test('a_running_program_gives_all_of_it_with_payloads_masked', async () => {
  await pair.settle(commands);
  await pair.main.set({ engine: 'stopped' });
  await until_active('backup');
  const folder = path.dirname(pair.workstation.config);
  const earlier = fs.readdirSync(folder).filter((name) => !name.endsWith('.tmp'));
  const { code, output, texts } = await make_bundle(pair.workstation);
  assert.equal(code, 0, output);
  assert.match(output, /^Written: .*zip\nPayloads of commands are masked; /);

  assert.match(texts['check.txt'], /^NOT READY\n- /);
  assert.equal(JSON.parse(texts['check.json']).ready, false);
  assert.match(texts['doctor.txt'], /^(NOT )?HEALTHY\n[^]*^Ports\n {2}5251: /m);
  const { ports, clock } = JSON.parse(texts['doctor.json']);
  assert.equal(ports[0].port, 5251);
  assert.ok(texts['doctor.txt'].includes(`\nClock\n  ${clock}\n`));
  assert.equal(JSON.parse(texts['status.json']).protection.heldOnBackup, true);
  assert.match(texts['program.log'], /Elvantris Redundancy Control \d/);
  assert.match(texts['alerts.jsonl'], /Engine stopped or exited\./);
  assert.equal(texts['configuration.json'], fs.readFileSync(pair.workstation.config, 'utf8'));
  const [action] = JSON.parse(texts['protection.json']).actions;
  assert.deepEqual([action.name, action.payload], ['Router', 'masked, 20 bytes']);
  const { toolVersion, startedVersion, interfaces, program, system } = JSON.parse(
    texts['system.json'],
  );
  assert.match(toolVersion, /^\d+\.\d+\.\d+$/);
  assert.equal(startedVersion, toolVersion);
  assert.equal(program, 'The program is running.');
  assert.ok(system.length > 3 && interfaces.some(({ loopback }) => loopback));

  assert.ok(!everything(texts).includes('S3cr3t'));
  assert.match(texts['contents.txt'], /Payloads of commands are masked/);
  for (const name of Object.keys(texts).filter((one) => one !== 'contents.txt'))
    assert.ok(texts['contents.txt'].includes(`\n${name}: `), name);
  assert.deepEqual(
    fs.readdirSync(folder).filter((name) => !name.endsWith('.tmp')),
    earlier,
  );
});

test('payloads_are_included_when_that_is_asked_for', async () => {
  await pair.settle(commands);
  const { code, output, texts } = await make_bundle(pair.workstation, '--with-payloads');
  assert.equal(code, 0);
  assert.match(output, /Payloads of commands are included/);
  assert.equal(JSON.parse(texts['protection.json']).actions[0].payload, secret);
  assert.equal(JSON.parse(texts['status.json']).protection.policy.actions[0].payload, secret);
});

test('a_good_check_inside_it_writes_down_no_decks', { skip: windows }, async () => {
  await pair.settle();
  await until('the deck is there', async () => (await get_status()).streamDeckCount === 1);
  await until('READY', async () => {
    const { texts } = await make_bundle(pair.workstation);
    return texts['check.txt'] === 'READY\n';
  });
  assert.ok(!fs.existsSync(`${pair.workstation.config}.check.json`));
});

test('with_the_program_stopped_the_files_are_there', async () => {
  await pair.workstation.stop();
  stopped.write_config(paired_config());
  stopped.write_state({ ...quick_policy, ...commands });
  const { code, texts } = await make_bundle(stopped);
  await pair.workstation.start();
  assert.equal(code, 0);
  assert.ok(!('status.json' in texts) && !everything(texts).includes('S3cr3t'));
  assert.match(texts['contents.txt'], /\nNot in it:\nstatus\.json: The program is not running\.\n/);
  assert.match(texts['contents.txt'], /\nalerts\.jsonl: There is no .*\n/);
  assert.deepEqual(fs.readdirSync(path.dirname(stopped.config)).sort(), [
    path.basename(stopped.config),
    path.basename(stopped.state),
  ]);
  await stopped.remove();
});

test('what_cannot_be_masked_is_left_out_and_told', async () => {
  const damaged = `{"armed":true,"actions":[{"payload":"${secret.slice(0, -2)}`;
  stopped.write_config('{"enabled":tr');
  stopped.write_state(damaged);
  fs.writeFileSync(`${stopped.state}.unreadable-1`, damaged);
  fs.writeFileSync(`${stopped.state}.unreadable-2`, '{"payload":"S3cr3t"}');
  const { code, output, texts } = await make_bundle(stopped);
  assert.equal(code, 1);
  for (const name of ['protection.json', 'protection.unreadable-1'])
    assert.ok(
      output.includes(`- Not in it: ${name}. It is damaged, so payloads in it can't`),
      name,
    );
  assert.equal(texts['configuration.json'], '{"enabled":tr');
  assert.equal(texts['protection.unreadable-2'], '{"payload":"masked, 6 bytes"}');
  assert.ok(!everything(texts).includes('S3cr3t'));

  const whole = await make_bundle(stopped, '--with-payloads');
  assert.equal(whole.texts['protection.json'], damaged);
  assert.equal(whole.texts['protection.unreadable-1'], damaged);
  await stopped.remove();
});

test('a_protection_file_in_place_of_the_configuration_is_masked_too', async () => {
  const ask = async () => {
    const file = bundle_of(stopped);
    fs.rmSync(file, { force: true });
    const given = ['--config', seen_by_program(stopped.state)];
    await run_tool(stopped, 'bundle', seen_by_program(file), ...given);
    return read_zip(file);
  };
  stopped.write_state(JSON.stringify(commands));
  assert.match((await ask())['configuration.json'], /"payload":"masked, 20 bytes"/);
  stopped.write_state(JSON.stringify(commands).slice(0, -3));
  assert.ok(!('configuration.json' in (await ask())));
  await stopped.remove();
});

test('of_a_long_log_the_end_is_there_from_a_whole_line_on', async () => {
  stopped.write_config(paired_config());
  const line = `${'x'.repeat(99)}\n`;
  fs.writeFileSync(stopped.log_file, `first line\n${line.repeat(200001)}last line`);
  fs.mkdirSync(stopped.alert_log);
  const { code, output, texts } = await make_bundle(stopped);
  assert.equal(code, 1);
  assert.match(output, /^- Not in it: alerts\.jsonl\. .* can't be read\. /m);
  assert.ok(texts['program.log'].startsWith(line) && texts['program.log'].endsWith('\nlast line'));
  const { length } = texts['program.log'];
  assert.ok(length <= 20_000_000 && length > 19_999_800, `${length}`);
  assert.match(texts['contents.txt'], /\nprogram\.log: the program's log, .*: its last 20 MB\n/);
  await stopped.remove();
});

test('another_configuration_file_than_the_programs_is_told', async () => {
  stopped.write_config(paired_config());
  const { code, output } = await make_bundle(stopped);
  assert.equal(code, 1);
  assert.match(output, /The running program uses another configuration file: /);
  const nowhere = await run_tool(stopped, 'bundle', 'x.zip', '--config', 'no such/folder.json');
  assert.equal(nowhere.code, 1);
  assert.match(nowhere.output, /^- Not in it: configuration\.json\. There is no no such/m);
  await stopped.remove();
});

test('nothing_is_replaced_and_nothing_half_is_left', async () => {
  const file = bundle_of(stopped);
  stopped.write_config(paired_config());
  fs.writeFileSync(file, 'mine');
  const taken = await ask_tool(stopped, 'bundle', seen_by_program(file));
  assert.deepEqual([taken.code, taken.output], [2, '']);
  assert.match(taken.errors, /zip is there already\. Give another name; nothing is replaced\.\n$/);
  assert.equal(fs.readFileSync(file, 'utf8'), 'mine');

  const nowhere = await ask_tool(stopped, 'bundle', seen_by_program(`${stopped.folder}/no/x.zip`));
  assert.deepEqual([nowhere.code, nowhere.output], [2, '']);
  assert.match(nowhere.errors, /x\.zip can't be written\. Is the folder there, and may you /);
  assert.equal((await run_tool(stopped, 'bundle')).code, 2);
  assert.deepEqual(
    fs.readdirSync(stopped.folder).filter((name) => name.includes('zip')),
    [path.basename(file)],
  );
  await stopped.remove();
});

test('a_program_is_told_what_went_in', async () => {
  stopped.write_config(paired_config());
  const file = bundle_of(stopped);
  const told = await ask_tool_json(stopped, 'bundle', seen_by_program(file));
  assert.deepEqual([told.payloadsMasked, told.bytes], [true, fs.statSync(file).size]);
  const expected = Object.entries(read_zip(file)).map(([name, text]) => [
    name,
    Buffer.byteLength(text),
  ]);
  assert.deepEqual(
    told.contents.map(({ name, bytes }) => [name, bytes]),
    expected,
  );
  await stopped.remove();
});
