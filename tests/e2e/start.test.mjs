// The life of the process: start, a second start, taken ports, the end.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { afterEach, beforeEach, test } from 'node:test';

import { windows } from '../driver/environment.mjs';
import { answers, call, occupy } from '../driver/http.mjs';
import { hear_questions, Server } from '../driver/network.mjs';
import { get_status, post, until_status } from '../driver/operator.mjs';
import { in_time, until } from '../driver/waiting.mjs';
import { seen_by_program, Workstation } from '../driver/workstation.mjs';
import { end_for_want_of_ports } from './support/ordinary_end.mjs';

let workstation;
beforeEach(() => {
  workstation = new Workstation();
});
afterEach(async () => {
  if (workstation.program && !workstation.program.ended) await workstation.kill();
  await workstation.remove();
});

// The page comes a little later than the API.
async function page(port = 5270) {
  await until('the page answers', () => answers(port));
  return call('127.0.0.1', port, 'GET', '/');
}

test('a_background_start_without_a_file_runs_with_defaults_and_opens_nothing', async () => {
  await workstation.start('--background');
  const status = await get_status();
  assert.deepEqual(
    [status.enabled, status.controllerConfigured, status.uiPort, status.openBrowserOnStart],
    [false, false, 5270, true],
  );
  assert.equal(status.sharedFunctionIds.length, 23);
  assert.equal(status.active, 'none');
  assert.equal(status.configPath, seen_by_program(workstation.config));
  assert.equal((await page()).status, 200);
  await until('the first pass saves', () => fs.existsSync(workstation.config));
  assert.deepEqual(workstation.opened(), []);
});

// What the descriptors of this process lead to, `/dev/null` among them.
function own_descriptors() {
  const links = ['/dev/null'];
  for (const each of fs.readdirSync('/proc/self/fd')) {
    try {
      links.push(fs.readlinkSync(`/proc/self/fd/${each}`));
    } catch {
      // The one of the listing itself.
    }
  }
  return links;
}

const starts = [
  ['an_ordinary_start_opens_the_page', [], true, ''],
  ['a_start_to_configure_opens_the_setup', ['--configure'], true, '?configure=1'],
  ['a_start_to_configure_overrules_the_setting', ['--configure'], false, '?configure=1'],
];
for (const [name, options, browser, opened] of starts) {
  test(name, async () => {
    workstation.write_config({ uiPort: 5271, openBrowserOnStart: browser });
    await workstation.start(...options, '--console');
    assert.deepEqual(await workstation.until_opened(1), [`http://127.0.0.1:5271/${opened}`]);
  });
}

test('the_browser_inherits_nothing_of_the_running_program', { skip: windows }, async () => {
  const told = path.join(workstation.folder, 'descriptors');
  const opener = path.join(workstation.folder, 'bin', 'xdg-open');
  const list = `for each in /proc/$$/fd/*; do readlink "$each"; done >'${told}.part'`;
  fs.writeFileSync(opener, `#!/bin/sh\n${list}\nmv '${told}.part' '${told}'\n`);
  await workstation.start('--configure');
  await until('the opener has run', () => fs.existsSync(told));
  const descriptors = new Set(fs.readFileSync(told, 'utf8').trimEnd().split('\n'));
  // Its script, where it writes to, and what this run was itself started with.
  for (const other of [opener, `${told}.part`, ...own_descriptors()]) descriptors.delete(other);
  assert.deepEqual([...descriptors], []);
});

const silent_starts = [
  ['background_and_configure', ['--background', '--configure'], true],
  ['the_browser_off', ['--another-option'], false],
];
for (const [name, options, browser] of silent_starts) {
  test(`a_start_with_${name}_opens_nothing`, async () => {
    workstation.write_config({ openBrowserOnStart: browser });
    await workstation.start(...options);
    // The page would have been opened ahead of the first pass.
    await until('the first pass', () => workstation.log_lines('[status]').length > 0);
    assert.deepEqual(workstation.opened(), []);
  });
}

test('a_second_start_opens_the_page_of_the_first_whatever_its_options', async () => {
  await workstation.start('--background');
  const ended = { code: 0, signal: null };
  const second = async (...args) => {
    const { code, signal } = await workstation.run(args);
    assert.deepEqual({ code, signal }, ended);
  };
  await second(...workstation.with_config('--background'));
  assert.deepEqual(workstation.opened(), []);
  await second(...workstation.with_config());
  await workstation.until_opened(1);
  await second(...workstation.with_config('--background', '--configure'));
  await workstation.until_opened(2);
  await second('--config', seen_by_program(`${workstation.folder}/another.json`), '--configure');
  assert.deepEqual(await workstation.until_opened(3), [
    'http://127.0.0.1:5270/',
    'http://127.0.0.1:5270/?configure=1',
    'http://127.0.0.1:5270/?configure=1',
  ]);
  assert.equal((await page()).status, 200);
});

test('a_start_that_cannot_have_the_lock_says_so_and_ends', { skip: windows }, async () => {
  const environment = { XDG_RUNTIME_DIR: undefined, TMPDIR: '/nonexistent' };
  const args = workstation.with_config('--background', '--console');
  const { code, errors } = await workstation.run(args, { environment });
  assert.equal(code, 0);
  const lock = `/nonexistent/elvantris-redundancy-control-${process.getuid()}.lock`;
  assert.equal(errors, `Unable to lock ${lock}: No such file or directory\n`);
});

// A second start that looks for the page of the first where its own file says.
function start_second_for_port(port) {
  const other = `${workstation.folder}/other.json`;
  fs.writeFileSync(other, JSON.stringify({ uiPort: port }));
  return workstation.run(['--config', seen_by_program(other)]);
}

test('a_second_start_ends_with_0_after_two_and_a_half_seconds_if_no_page_answers', async () => {
  await workstation.start('--background');
  let starts = 0;
  await in_time('the second start gives up soon', async () => {
    const begun = Date.now();
    const { code } = await start_second_for_port(5999);
    const took = Date.now() - begun;
    starts += 1;
    assert.equal(code, 0);
    assert.ok(took > 2400, `${took} ms`);
    return took < 9000;
  });
  const opened = await workstation.until_opened(starts);
  assert.deepEqual(opened, Array(starts).fill('http://127.0.0.1:5999/'));
});

test('a_second_start_waits_for_a_page_and_opens_it_once_it_answers', async () => {
  await workstation.start('--background');
  await in_time('the page comes while it is waited for', async () => {
    const before_now = workstation.opened().length;
    const second = start_second_for_port(5999);
    await new Promise((resolve) => setTimeout(resolve, 600));
    const opened_without_it = workstation.opened().length > before_now;
    const late_page = await occupy(5999);
    try {
      assert.equal((await second).code, 0);
      const took = Date.now() - late_page.visits[0];
      const opened = await workstation.until_opened(before_now + 1);
      assert.deepEqual(opened.slice(before_now), ['http://127.0.0.1:5999/']);
      assert.ok(late_page.visits.length <= 1);
      // Of the two and a half seconds, about two were left.
      return !opened_without_it && took < 1700;
    } finally {
      await late_page.release();
    }
  });
});

test('a_taken_api_port_ends_the_start_with_3', async () => {
  const other = await occupy(5251);
  try {
    const { code } = await workstation.run(workstation.with_config('--background'));
    assert.equal(code, 3);
  } finally {
    await other.release();
  }
  assert.match(
    workstation.log(),
    /^Unable to start Redundancy Control API on 127\.0\.0\.1:5251\r?\n$/,
  );
  assert.equal(await answers(5270), false);
});

test('a_taken_ui_port_ends_the_start_with_4_and_the_api_port_is_free_again', async () => {
  workstation.write_config({ uiPort: 5280 });
  const other = await occupy(5280);
  try {
    const { code } = await workstation.run(workstation.with_config('--background'));
    assert.equal(code, 4);
    await until('5251 can be had', async () => {
      try {
        await (await occupy(5251)).release();
        return true;
      } catch {
        return false;
      }
    });
  } finally {
    await other.release();
  }
  assert.match(
    workstation.log(),
    /^Unable to start Redundancy Control shell on 127\.0\.0\.1:5280\r?\n$/,
  );
});

test('the_ui_port_changes_while_the_program_runs_and_goes_back_from_a_taken_one', async () => {
  await workstation.start('--background');
  // A port that is changed before the page has one is no change for the page.
  await page(5270);
  const changed = await post('/api/configure', { uiPort: 5290 });
  assert.deepEqual([changed.ok, changed.uiPort, changed.uiPortChanged], [true, 5290, true]);
  await until_status('the page has moved', ({ runtimeUiPort }) => runtimeUiPort === 5290);
  assert.equal((await page(5290)).status, 200);
  await until('5270 is given up', async () => !(await answers(5270)));
  const told = () => workstation.log_lines('[shell]');
  await until('the change is told', () => told().length > 0);
  assert.deepEqual(told(), ['[shell] UI port changed to 5290']);

  const other = await occupy(5291);
  try {
    await post('/api/configure', { uiPort: 5291 });
    await until_status('the port goes back', ({ uiPort }) => uiPort === 5290);
    assert.equal((await page(5290)).status, 200);
    assert.equal((await get_status()).runtimeUiPort, 5290);
    assert.equal(workstation.saved_config().uiPort, 5290);
    assert.deepEqual(workstation.log_lines('[shell]').slice(1), [
      '[shell] unable to bind requested UI port 5291; restoring 5290',
    ]);
  } finally {
    await other.release();
  }
});

test('a_ui_port_that_cannot_be_gone_back_to_ends_the_program_in_order', async () => {
  const server = await Server.start('main', 'SER-A');
  try {
    await workstation.start('--background');
    await until_status('the server is ready', ({ systems }) => systems[0]?.uiReady);
    assert.deepEqual(await end_for_want_of_ports(workstation), { code: 0, signal: null });
    assert.deepEqual(workstation.log_lines('[shell]').slice(-2), [
      '[shell] unable to bind requested UI port 5291; restoring 5270',
      '[shell] unable to restore previous UI port; shutting down',
    ]);
    assert.equal(workstation.saved_config().uiPort, 5270);
    assert.equal((await server.calls('OperatorDeckDetach')).count, 1);
    await until('5251 is free', async () => !(await answers(5251)));
  } finally {
    await server.stop();
  }
});

test('a_pass_begins_two_seconds_after_the_one_before_has_ended', async () => {
  const server = await Server.start('main', 'SER-A');
  const questions = await hear_questions();
  try {
    // Nothing but time-outs: the first pass takes two seconds itself.
    await server.set({ faults: { '*': { hang: true } } });
    await workstation.start('--background');
    await until('the first pass saves', () => fs.existsSync(workstation.config));
    const saved_at = () => fs.statSync(workstation.config).mtimeMs;
    assert.ok(saved_at() - questions.moments[0] > 1500);
    await in_time('the next pass comes soon', async () => {
      const ended = saved_at();
      const next = await until('the next pass', () =>
        questions.moments.find((moment) => moment > ended),
      );
      assert.ok(next - ended > 1950, `${next - ended} ms`);
      await until('it is over', () => saved_at() > next);
      return next - ended < 6000;
    });
  } finally {
    questions.stop();
    await server.stop();
  }
});

const reachable_servers = [
  ['before_a_server_was_ever_heard', false],
  ['with_a_server', true],
];
for (const [name, with_server] of reachable_servers) {
  test(`a_killed_program_leaves_nothing_that_bars_the_next_start_${name}`, async () => {
    const server = with_server && (await Server.start('main', 'SER-A'));
    try {
      await workstation.start('--background');
      if (server) await until_status('found', ({ systems }) => systems.length === 1);
      await workstation.kill();
      await workstation.start('--background');
      assert.equal((await page()).status, 200);
    } finally {
      if (server) await server.stop();
    }
  });
}

if (!windows) {
  for (const signal of ['SIGINT', 'SIGTERM']) {
    test(`${signal.toLowerCase()}_ends_the_program_with_0_and_frees_its_ports`, async () => {
      const program = await workstation.start('--background');
      assert.deepEqual(await program.signal(signal), { code: 0, signal: null });
      assert.deepEqual([await answers(5251), await answers(5270)], [false, false]);
      await workstation.start('--background');
    });
  }

  test('the_end_of_the_program_saves_nothing', async () => {
    const questions = await hear_questions();
    try {
      await in_time('the end comes before the next pass', async () => {
        const program = await workstation.start('--background');
        await until('the first pass saves', () => fs.existsSync(workstation.config));
        const asked = questions.moments.length;
        // The next pass is two seconds away.
        workstation.write_config('left alone');
        assert.deepEqual(await program.signal('SIGTERM'), { code: 0, signal: null });
        const left_alone = fs.readFileSync(workstation.config, 'utf8') === 'left alone';
        fs.rmSync(workstation.config);
        if (questions.moments.length === asked) assert.ok(left_alone);
        return left_alone;
      });
    } finally {
      questions.stop();
    }
  });

  test('sigint_during_a_pass_ends_with_0_when_the_pass_is_over', async () => {
    const server = await Server.start('main', 'SER-A');
    try {
      await server.set({ faults: { '*': { hang: true } } });
      await in_time('the signal comes during the pass', async () => {
        const program = await workstation.start('--background');
        await until(
          'the pass asks the server',
          async () => (await server.calls('GetOperatorControlConfiguration')).count > 0,
        );
        const over = fs.existsSync(workstation.config);
        assert.deepEqual(await program.signal('SIGINT'), { code: 0, signal: null });
        // What the rest of the pass does: it saves what has been found.
        assert.equal(workstation.saved_config().systems[0].serial, 'SER-A');
        fs.rmSync(workstation.config);
        await server.set({ forget: true });
        return !over;
      });
    } finally {
      await server.stop();
    }
  });
}
