// The protection piece: the words of the badges, the banner, and the dialog with its posts.
import assert from 'node:assert/strict';
import { test } from 'node:test';

import { until } from '../driver/waiting.mjs';
import {
  action,
  alert,
  backup,
  health,
  hostile,
  main,
  nothing_active,
  output,
  policy,
  protection,
  starting,
  status,
} from './support/page_status.mjs';
import { PageView } from './support/page_view.mjs';

const view = PageView.for_the_tests();

const guarded = (changes, others) => status({ protection: protection(changes), ...others });
const with_policy = (changes, others) => guarded({ policy: policy(changes), ...others });

const word_cases = [
  ['no_sample', null, 'WAITING', 'Waiting for health', 'warn'],
  ['never_heard', { ageMs: -1, supported: false }, 'WAITING', 'Waiting for health', 'warn'],
  [
    'lost',
    { ageMs: 1000, supported: false, engineRunning: false },
    'OFFLINE',
    'Communication lost',
    'off',
  ],
  ['nearly_lost', { ageMs: 999 }, 'READY', 'Engine responding; frames advancing', 'on'],
  ['just_heard', { ageMs: 0 }, 'READY', 'Engine responding; frames advancing', 'on'],
  [
    'too_old_for_health',
    { supported: false, engineRunning: false },
    'HEALTH UNKNOWN',
    'Health endpoint unavailable',
    'warn',
  ],
  [
    'stopped',
    { engineRunning: false, engineResponsive: false, frameStalled: true },
    'ENGINE STOPPED',
    'Engine stopped',
    'warn',
  ],
  [
    'unresponsive',
    { engineResponsive: false, frameStalled: true, telemetryAvailable: false },
    'ENGINE UNRESPONSIVE',
    'Engine unresponsive',
    'warn',
  ],
  [
    'stalled',
    { frameStalled: true, telemetryAvailable: false },
    'FRAME STALL',
    'Frame progress stalled',
    'warn',
  ],
  [
    'without_telemetry',
    { telemetryAvailable: false },
    'TELEMETRY UNKNOWN',
    'Engine responding; frame telemetry unavailable',
    'warn',
  ],
  [
    'telemetry_not_told',
    { telemetryAvailable: undefined },
    'READY',
    'Engine responding; frame telemetry unavailable',
    'on',
  ],
  ['well', {}, 'READY', 'Engine responding; frames advancing', 'on'],
];
for (const [role, serial, name, id] of [
  ['Main', 'SER-A', 'Stage left', 'main'],
  ['Backup', 'SER-B', 'Stage right', 'backup'],
]) {
  test(`the_${id}_badge_and_its_line_show_the_first_condition_that_holds`, async () => {
    await view.open_protection();
    for (const [case_name, changes, word, line, dot] of word_cases) {
      const systems = changes ? [health(serial, changes)] : [];
      // The plain words of the header would be others.
      await view.show(guarded({ systems }, { systems: [main(starting), backup(starting)] }));
      const shown = await view.read(`${id}Status`, `${id}Dot`);
      assert.equal(shown[`${id}Status`].text, `${role}: ${name} ${word}`, case_name);
      assert.equal(shown[`${id}Dot`].dot, dot, case_name);
      const lines = await view.page.$$eval('#vorHealthSummary p', (all) =>
        all.map((one) => one.textContent),
      );
      assert.ok(lines.includes(`${role}: ${line}`), `${case_name}: ${lines}`);
    }
  });
}

test('the_limit_of_a_lost_server_is_the_policy_s', async () => {
  await view.open(with_policy({ lossMs: 3000 }, { systems: [health('SER-A', { ageMs: 2999 })] }));
  assert.equal(await view.text('mainStatus'), 'Main: Stage left READY');
  await view.show(with_policy({ lossMs: 3000 }, { systems: [health('SER-A', { ageMs: 3000 })] }));
  assert.equal(await view.text('mainStatus'), 'Main: Stage left OFFLINE');
});

test('without_a_main_its_line_waits_and_its_badge_stays_plain', async () => {
  await view.open_protection(status({ systems: [], ...nothing_active }));
  assert.equal(await view.text('mainStatus'), 'Main: Not configured OFFLINE');
  assert.equal(
    await view.text('vorHealthSummary'),
    'Main: Waiting for healthBackup: Waiting for health',
  );
});

const rule = (mode, mainId, backupId) => ({ mainId, backupId, mode });
const output_cases = [
  ['both_up', [rule(2, 'out-1', 'out-2')], {}, 'READY', 'READY'],
  [
    'not_in_the_list',
    [rule(2, 'gone', 'gone')],
    {},
    'PROTECTED OUTPUT FAULT',
    'PROTECTED OUTPUT FAULT',
  ],
  ['main_alone', [rule(2, 'gone', 'out-1')], {}, 'PROTECTED OUTPUT FAULT', 'READY'],
  ['backup_alone', [rule(2, 'out-1', 'gone')], {}, 'READY', 'PROTECTED OUTPUT FAULT'],
  [
    'not_available',
    [rule(2, 'bad', 'bad')],
    { available: false },
    'PROTECTED OUTPUT FAULT',
    'PROTECTED OUTPUT FAULT',
  ],
  [
    'not_known',
    [rule(2, 'bad', 'bad')],
    { known: false },
    'PROTECTED OUTPUT FAULT',
    'PROTECTED OUTPUT FAULT',
  ],
  ['known_not_told', [rule(2, 'bad', 'bad')], { known: undefined }, 'READY', 'READY'],
  [
    'available_not_told',
    [rule(2, 'bad', 'bad')],
    { available: undefined },
    'PROTECTED OUTPUT FAULT',
    'PROTECTED OUTPUT FAULT',
  ],
  ['alert_only', [rule(1, 'gone', 'gone')], {}, 'READY', 'READY'],
  ['ignored', [rule(0, 'gone', 'gone')], {}, 'READY', 'READY'],
  ['no_id', [rule(2, '', '')], {}, 'READY', 'READY'],
  [
    'second_rule',
    [rule(2, 'out-1', 'out-1'), rule(2, 'gone', 'gone')],
    {},
    'PROTECTED OUTPUT FAULT',
    'PROTECTED OUTPUT FAULT',
  ],
  [
    'another_condition_goes_first',
    [rule(2, 'gone', 'gone')],
    {},
    'FRAME STALL',
    'FRAME STALL',
    { frameStalled: true },
  ],
];
test('a_protected_output_that_is_down_takes_the_place_of_ready', async () => {
  await view.open(status());
  for (const [name, outputRules, changes, on_main, on_backup, other] of output_cases) {
    const outputs = [output('out-1'), output('out-2'), output('bad', changes)];
    const systems = ['SER-A', 'SER-B'].map((serial) => health(serial, { outputs, ...other }));
    await view.show(with_policy({ outputRules }, { systems }));
    assert.equal(await view.text('mainStatus'), `Main: Stage left ${on_main}`, name);
    assert.equal(await view.text('backupStatus'), `Backup: Stage right ${on_backup}`, name);
    const { mainDot } = await view.read('mainDot');
    assert.equal(mainDot.dot, on_main === 'READY' ? 'on' : 'warn', name);
  }
});

const bare = (changes) => status({ protection: { policy: { lossMs: 1000 }, ...changes } });
const bare_sample = { serial: 'SER-A', ageMs: 10 };
const bare_cases = [
  ['nothing_but_a_limit', bare(), 'WAITING', 'WAITING', 0],
  [
    'bare_samples',
    bare({ systems: [bare_sample, { serial: 'SER-B', ageMs: 10 }] }),
    'READY',
    'READY',
    0,
  ],
  [
    'no_rules',
    bare({ systems: [{ ...bare_sample, telemetryAvailable: true }] }),
    'READY',
    'WAITING',
    0,
  ],
  [
    'a_rule_without_outputs',
    bare({
      policy: { lossMs: 1000, outputRules: [rule(2, 'out-1', '')] },
      systems: [{ ...bare_sample, telemetryAvailable: true }],
    }),
    'PROTECTED OUTPUT FAULT',
    'WAITING',
    0,
  ],
  [
    'bare_alerts',
    bare({
      alerts: [
        { active: true, message: 'One.', started: 1 },
        { active: true, message: 'Two.', started: 2 },
      ],
    }),
    'WAITING',
    'WAITING',
    2,
  ],
];
test('what_a_status_leaves_out_disturbs_nothing', async () => {
  const page = await view.open_protection();
  for (const [name, next, on_main, on_backup, alerts] of bare_cases) {
    await view.show(next);
    assert.equal(await view.text('mainStatus'), `Main: Stage left ${on_main}`, name);
    assert.equal(await view.text('backupStatus'), `Backup: Stage right ${on_backup}`, name);
    assert.equal(await page.locator('.vor-alert').count(), alerts, name);
    assert.equal(await view.text('syncStatus'), 'In Sync · Rev 12', name);
  }
  const listed = await page.$$eval('.vor-alert', (all) =>
    all.map((one) => [
      one.querySelector('span').textContent,
      one.querySelector('small').textContent,
    ]),
  );
  assert.deepEqual(
    listed.map(([text]) => text),
    ['Two.', 'One.'],
  );
  for (const [, times] of listed) assert.doesNotMatch(times, /recovered/);
  await view.show(status({ systems: undefined }));
  assert.equal(await view.text('mainStatus'), 'Main: Not configured OFFLINE');
  assert.equal(await view.text('syncStatus'), 'Unavailable');
});

const notice = alert(1, { severity: 'notice', message: 'Moved.' });
const recovered = alert(2, { active: false, recovered: 1 });
const banner_cases = [
  ['armed', {}, {}, 'PROTECTION ARMED · 0 active alerts', ''],
  ['disarmed', { armed: false }, {}, 'AUTO FAILOVER DISARMED · 0 active alerts', ''],
  [
    'pair_disabled',
    { heldOnBackup: true },
    { enabled: false },
    'PROTECTION ARMED · Pair disabled · 0 active alerts',
    '',
  ],
  [
    'held',
    { heldOnBackup: true },
    {},
    'PROTECTION ARMED · Backup held active · 0 active alerts',
    '',
  ],
  [
    'one_alert',
    { alerts: [alert(1)] },
    {},
    'PROTECTION ARMED · 1 active alert · Main: Engine stopped or exited.',
    'fault',
  ],
  [
    'the_first_of_two',
    { alerts: [notice, recovered, alert(3, { message: 'First.', acknowledged: true }), alert(4)] },
    {},
    'PROTECTION ARMED · 2 active alerts · First.',
    'fault',
  ],
  [
    'none_that_counts',
    { alerts: [notice, recovered] },
    {},
    'PROTECTION ARMED · 0 active alerts',
    '',
  ],
];
test('the_banner_sums_up', async () => {
  const page = await view.open(status());
  for (const [name, changes, others, text, fault] of banner_cases) {
    await view.show(guarded(changes, others));
    assert.equal(await page.textContent('#vorBanner p'), text, name);
    assert.equal((await view.read('vorBanner')).vorBanner.dot, `vor-banner ${fault}`.trim(), name);
    const bold = text.split(' · ')[0];
    assert.equal(await page.textContent('#vorBanner b'), bold, name);
  }
  assert.equal(await page.locator('#vorBanner').count(), 1);
  const below = await page.$eval('#vorBanner', (banner) =>
    banner.nextElementSibling.contains(document.getElementById('elvantrisUi')),
  );
  assert.equal(below, true);
  const last = await page.$eval('#vorBanner > :last-child', ({ tagName, textContent }) => [
    tagName,
    textContent,
  ]);
  assert.deepEqual(last, ['BUTTON', 'Health & Alerts']);
});

test('a_status_without_protection_renders_nothing_of_it', async () => {
  const page = await view.open(status({ protection: undefined }));
  assert.equal(await page.locator('#vorBanner').count(), 0);
  assert.equal(await view.text('mainStatus'), 'Main: Stage left READY');
  await page.evaluate('open_protection()');
  assert.equal(await view.visible('vorProtectionBg'), false);
});

const labels = {
  server: 'Server communication lost',
  engine: 'Engine stopped or crashed',
  responsive: 'Engine unresponsive',
  frames: 'Engine channel frame progress stalled',
  sync: 'Backup show / asset synchronization (failover setting gates Backup readiness)',
  clock: 'Engaged external clock lost / unlocked',
  resources: 'Sustained resource pressure (warning only)',
};
test('each_condition_has_its_label_and_its_options', async () => {
  const page = await view.open_protection(with_policy({ server: 0, engine: 1, sync: 2 }));
  assert.deepEqual(await page.locator('#vorModes label').allTextContents(), Object.values(labels));
  const usual = ['0 Ignore', '1 Alert only', '2 Alert + failover'];
  for (const [key, label] of Object.entries(labels)) {
    const select = page.getByLabel(label, { exact: true });
    const options = await select
      .locator('option')
      .evaluateAll((all) => all.map((one) => `${one.value} ${one.textContent}`));
    const wanted = {
      sync: [...usual.slice(0, 2), '2 Require for Backup takeover'],
      resources: usual.slice(0, 2),
    };
    assert.deepEqual(options, wanted[key] ?? usual, key);
  }
  const chosen = await page.$$eval('#vorModes select', (all) => all.map(({ value }) => value));
  assert.deepEqual(chosen, ['0', '1', '2', '2', '2', '1', '1']);
});

test('each_delay_has_its_label_and_its_bounds', async () => {
  const page = await view.open_protection(with_policy({ lossMs: 700, audible: true }));
  for (const [label, id, min, max, value] of [
    ['Server / engine response timeout (ms)', 'vorLossMs', '500', '30000', '700'],
    ['Channel frame stall timeout (ms)', 'vorStallMs', '500', '30000', '1500'],
    ['Output fault confirmation delay (ms)', 'vorOutputMs', '500', '30000', '1000'],
    ['Startup / changed-pair grace (ms)', 'vorStartupMs', '1000', '60000', '5000'],
  ]) {
    const field = page.getByLabel(label, { exact: true });
    assert.deepEqual(await field.evaluate((one) => [one.id, one.min, one.max, one.value]), [
      id,
      min,
      max,
      value,
    ]);
  }
  assert.equal(await page.getByLabel('Optional audible alerts in this browser').isChecked(), true);
});

test('the_dialog_has_its_heads_its_help_and_its_buttons', async () => {
  const page = await view.open_protection();
  const heads = await page.locator('#vorProtectionBg :is(h2, h3)').allTextContents();
  assert.deepEqual(heads, [
    'Health, Protection & External Actions',
    'Protection',
    'Protected Outputs',
    'External Action Sequences',
    'Alerts & Recent History',
  ]);
  assert.deepEqual(await page.locator('#vorProtectionBg .help').allTextContents(), [
    'Monitoring and alerts continue while automatic failover is disarmed. External commands are optional. A transfer holds on Backup until you return to Main. Configure the system pair first.',
    'Sound requires a browser interaction and this VOR page to remain open. Channel progress measures completed engine frames, including paused media and black. Resource warnings require 10 seconds of CPU at least 95%, available memory below 5%, or GPU temperature at least 90 C. External clock monitoring applies only when engaged; a shared clock failure may affect both servers. Display monitoring reflects OS connection status; consumer monitoring reflects engine delivery. Neither proves a valid downstream picture.',
    'Choose critical outputs or Extended nodes and their corresponding Backup counterparts. Failover requires every output marked Alert + failover to be healthy on Backup. Disarm before intentionally removing protected outputs or changing engine configuration.',
    'Enabled actions run in list order on transfer to Backup or an operator return to Main. Each step opens its own TCP connection or sends one UDP datagram. Use a single command field for devices needing multiple commands on one connection. Supported escapes: \\r \\n \\t \\\\ \\xHH. A failed step stops its sequence. Retries can repeat a partially delivered command; leave zero unless the command is safe to repeat. Test sends the saved command to the actual destination.',
  ]);
  const buttons = await page.$$eval('#vorProtectionBg button', (all) =>
    all.map(({ textContent }) => textContent),
  );
  assert.deepEqual(buttons, [
    'Disarm Automatic Failover',
    'Take Backup',
    'Return to Main',
    'Acknowledge Alerts',
    'Add Output Rule',
    'Add Action',
    'Close',
    'Save Protection Settings',
  ]);
  for (const [name, tooltip] of [
    ['Disarm Automatic Failover', 'Arm or disarm automatic failover; monitoring remains active.'],
    ['Take Backup', 'Transfer to a healthy Backup and run enabled Backup actions.'],
    ['Return to Main', 'Return to a healthy Main and run enabled Main actions.'],
    ['Acknowledge Alerts', 'Silence current alerts without clearing unresolved faults.'],
  ]) {
    assert.equal(await page.getByRole('button', { name }).getAttribute('title'), tooltip);
  }
});

test('the_live_parts_follow_the_status_while_the_dialog_is_open', async () => {
  await view.open_protection();
  assert.equal(await view.text('vorLastAction'), 'No external actions have run.');
  await view.show(
    guarded({ armed: false, heldOnBackup: true, actionsBusy: true, lastAction: 'Sent.' }),
  );
  assert.equal(await view.text('vorArmButton'), 'Arm Automatic Failover');
  assert.equal(await view.text('vorLastAction'), 'Outbound sequence running. Sent.');
  assert.match(
    await view.text('vorHealthSummary'),
    /Held on Backup\. Recovery does not return automatically\.$/,
  );
  await view.show(guarded({ actionsBusy: true }));
  assert.equal(
    await view.text('vorLastAction'),
    'Outbound sequence running. No external actions have run.',
  );
  assert.doesNotMatch(await view.text('vorHealthSummary'), /Held/);
});

test('alerts_stand_newest_first_with_their_word_and_their_times', async () => {
  const page = await view.open_protection();
  const empty =
    'No alerts in this VOR session. Fault/recovery history is also retained in the workstation log.';
  assert.equal(await view.text('vorAlertList'), empty);
  const list = [
    alert(1, { active: false, recovered: Date.UTC(2025, 4, 17, 20, 0, 0), acknowledged: true }),
    alert(2, { acknowledged: true, message: '<b>Second</b>', severity: 'warning' }),
    alert(3, { severity: 'notice', message: 'Third.' }),
  ];
  const read = () =>
    page.$$eval('#vorAlertList > div', (all) =>
      all.map((one) => [
        one.querySelector('b').textContent,
        one.querySelector('span').textContent,
        one.querySelector('small').textContent,
        one.classList.contains('recovered'),
      ]),
    );
  const time = (ms) => page.evaluate((value) => new Date(value).toLocaleString(), ms);
  await view.show(guarded({ alerts: list }));
  assert.deepEqual(await read(), [
    ['ACTIVE', 'Third.', await time(list[2].started), false],
    ['ACTIVE / ACKNOWLEDGED', '<b>Second</b>', await time(list[1].started), false],
    [
      'RECOVERED',
      list[0].message,
      `${await time(list[0].started)} - recovered ${await time(list[0].recovered)}`,
      true,
    ],
  ]);
  await view.show(
    guarded({ alerts: [list[1], { ...list[2], active: false, recovered: 1 }, alert(4)] }),
  );
  assert.deepEqual(
    (await read()).map(([word]) => word),
    ['ACTIVE', 'RECOVERED', 'ACTIVE / ACKNOWLEDGED'],
  );
  await view.show(guarded({ alerts: [] }));
  assert.equal(await view.text('vorAlertList'), empty);
});

test('alerts_that_share_an_id_are_all_shown', async () => {
  const page = await view.open_protection();
  const texts = () => page.locator('.vor-alert span').allTextContents();
  const first = alert(1, { message: 'First.' });
  const second = alert(1, { message: 'Second.' });
  const nameless = [alert(0, { id: undefined }), alert(0, { id: undefined, message: 'Nameless.' })];
  for (const [alerts, shown] of [
    [
      [first, second],
      ['Second.', 'First.'],
    ],
    [
      [first, first],
      ['First.', 'First.'],
    ],
    [[second], ['Second.']],
    [nameless, ['Nameless.', nameless[0].message]],
  ]) {
    await view.show(guarded({ alerts }));
    assert.deepEqual(await texts(), shown);
  }
});

const rules = [rule(2, 'out-1', 'gone'), rule(1, 'out-2', '')];
const named = [
  output('out-1', { name: 'Left wall' }),
  output('out-2', { name: '', available: false }),
];
test('rules_offer_the_outputs_of_their_side_and_keep_what_is_gone', async () => {
  const systems = [
    health('SER-A', { outputs: named }),
    health('SER-B', { outputs: [output('b-1')] }),
  ];
  const page = await view.open_protection(with_policy({ outputRules: rules }, { systems }));
  const read = () =>
    page.$$eval('#vorOutputRules .vor-rule', (all) =>
      all.map((block) =>
        [...block.querySelectorAll('select')].map((select) => [
          select.value,
          ...[...select.options].map((one) => `${one.value}=${one.textContent}`),
        ]),
      ),
    );
  const modes = ['0=Ignore', '1=Alert only', '2=Alert + failover'];
  const on_main = ['=Select output...', 'out-1=Left wall', 'out-2=out-2 (unavailable)'];
  assert.deepEqual(await read(), [
    [
      ['out-1', ...on_main],
      ['gone', '=Select output...', 'gone=gone (unavailable)', 'b-1=b-1'],
      ['2', ...modes],
    ],
    [
      ['out-2', ...on_main],
      ['', '=Select output...', 'b-1=b-1'],
      ['1', ...modes],
    ],
  ]);
  await page.click('text=Add Output Rule');
  assert.deepEqual(
    (await read())[2].map(([value]) => value),
    ['', '', '1'],
  );
  for (const label of ['Main output', 'Corresponding Backup output', 'Response']) {
    assert.equal(await page.getByLabel(label, { exact: true }).count(), 3);
  }
  // An output that vanishes while the dialog is open stays chosen.
  await view.show(with_policy({ outputRules: rules }, { systems: [] }));
  await page.locator('text=Remove Rule').nth(1).click();
  assert.deepEqual(
    (await read()).map(([[value]]) => value),
    ['out-1', ''],
  );
  assert.equal((await read())[0][0][2], 'out-1=out-1 (unavailable)');
});

const block_values = () =>
  view.page.$$eval('.vor-action', (all) =>
    all.map((block) =>
      Object.fromEntries(
        [...block.querySelectorAll('[data-key]')].map((one) => [
          one.dataset.key,
          one.type === 'checkbox' ? one.checked : one.value,
        ]),
      ),
    ),
  );
const names = async () => (await block_values()).map(({ name }) => name);
const in_action = (index) => view.page.locator('.vor-action').nth(index);

test('an_action_block_shows_all_fields_of_its_action', async () => {
  await view.open_protection(
    with_policy({ actions: [action({ transport: 'UDP', event: 'main', retries: 2, delayMs: 5 })] }),
  );
  assert.deepEqual(await block_values(), [
    {
      enabled: true,
      name: 'Router',
      host: '10.77.0.20',
      port: '7000',
      event: 'main',
      transport: 'UDP',
      delayMs: '5',
      timeoutMs: '1000',
      retries: '2',
      payload: 'TAKE 2\\r',
    },
  ]);
  const words = await in_action(0).locator('label').allTextContents();
  assert.deepEqual(
    words.map((text) => text.trim()),
    [
      'Enable action 1',
      'Name',
      'Destination host',
      'Port',
      'Event',
      'Transport',
      'Delay before step (ms)',
      'Connect/send timeout (ms)',
      'Retries (0-3)',
      'Command string',
    ],
  );
  const options = (label) =>
    in_action(0)
      .getByLabel(label, { exact: true })
      .locator('option')
      .evaluateAll((all) => all.map((one) => `${one.value}=${one.textContent}`));
  assert.deepEqual(await options('Event'), ['backup=Transfer to Backup', 'main=Return to Main']);
  assert.deepEqual(await options('Transport'), ['TCP=TCP', 'UDP=UDP']);
  assert.deepEqual(await in_action(0).locator('button').allTextContents(), [
    'Test Saved Action',
    'Move Up',
    'Move Down',
    'Remove Action',
  ]);
});

test('a_new_action_has_its_defaults', async () => {
  const page = await view.open_protection(with_policy({ actions: [action()] }));
  await page.click('text=Add Action');
  assert.deepEqual((await block_values())[1], {
    enabled: false,
    name: 'Action 2',
    host: '',
    port: '0',
    event: 'backup',
    transport: 'TCP',
    delayMs: '0',
    timeoutMs: '1000',
    retries: '0',
    payload: '',
  });
});

test('actions_move_and_go_and_no_edit_is_lost', async () => {
  const page = await view.open_protection(
    with_policy({
      actions: ['A', 'B', 'C'].map((name) => action({ name })),
      outputRules: [rule(1, 'out-1', '')],
    }),
  );
  await in_action(1).getByLabel('Name', { exact: true }).fill('B edited');
  await in_action(2).getByLabel('Command string').fill('GO\\r');
  await page.getByLabel('Response', { exact: true }).selectOption('2');
  await in_action(2).locator('text=Move Up').click();
  assert.deepEqual(await names(), ['A', 'C', 'B edited']);
  assert.equal((await block_values())[1].payload, 'GO\\r');
  await in_action(0).locator('text=Move Up').click();
  await in_action(2).locator('text=Move Down').click();
  assert.deepEqual(await names(), ['A', 'C', 'B edited']);
  await in_action(0).locator('text=Move Down').click();
  assert.deepEqual(await names(), ['C', 'A', 'B edited']);
  await in_action(1).locator('text=Remove Action').click();
  assert.deepEqual(await names(), ['C', 'B edited']);
  await page.click('text=Add Output Rule');
  assert.deepEqual(await names(), ['C', 'B edited']);
  assert.equal(await page.getByLabel('Response', { exact: true }).first().inputValue(), '2');
  assert.deepEqual(view.posts, []);
});

test('each_button_of_a_block_collects_all_drafts_first', async () => {
  for (const button of ['Add Output Rule', 'Remove Rule', 'Add Action', 'Remove Action']) {
    const page = await view.open_protection(
      with_policy({
        outputRules: [rule(1, 'out-1', ''), rule(1, 'out-2', '')],
        actions: [action({ name: 'A' }), action({ name: 'B' })],
      }),
    );
    await in_action(0).getByLabel('Name', { exact: true }).fill('A edited');
    await page.getByLabel('Response', { exact: true }).first().selectOption('2');
    await page.fill('#vorLossMs', '2500');
    await page.locator(`text=${button}`).last().click();
    const { outputRules: edited, actions, lossMs } = await page.evaluate('vorDraft');
    assert.deepEqual([edited[0].mode, actions[0].name, lossMs], [2, 'A edited', 2500], button);
  }
});

test('an_enter_that_is_held_down_removes_one_block_alone', async () => {
  const page = await view.open_protection(
    with_policy({
      outputRules: [rule(1, 'out-1', ''), rule(1, 'out-2', '')],
      actions: ['A', 'B', 'C'].map((name) => action({ name })),
    }),
  );
  const left = async () => [
    await page.locator('.vor-rule').count(),
    await page.locator('.vor-action').count(),
  ];
  for (const [button, wanted] of [
    ['Remove Rule', [1, 3]],
    ['Remove Rule', [0, 3]],
    ['Remove Action', [0, 2]],
  ]) {
    await page.locator(`text=${button}`).first().focus();
    await page.keyboard.down('Enter');
    await page.keyboard.down('Enter');
    await page.keyboard.up('Enter');
    assert.deepEqual(await left(), wanted);
    assert.equal(await page.evaluate('document.activeElement.role'), 'group');
  }
});

for (const width of [1024, 1366, 1920]) {
  test(`at_${width}_the_dialog_opens_at_its_top_below_header_and_banner_with_alerts_beside_settings`, async () => {
    const page = await view.open_protection(with_policy({ actions: Array(8).fill(action()) }), {
      viewport: { width, height: 768 },
    });
    const scrolled = () =>
      page.$$eval('#vorProtectionBg .scrolls', (all) => all.map((one) => one.scrollTop));
    await page.evaluate(
      "for (const one of document.querySelectorAll('.scrolls')) one.scrollTop = 200",
    );
    assert.ok((await scrolled()).some((top) => top > 0));
    await page.keyboard.press('Escape');
    await page.click('text=Health & Alerts');
    assert.deepEqual(await scrolled(), [0, 0, 0]);
    const [banner, box, settings, history] = await page.$$eval(
      '#vorBanner, #vorProtectionBg .dialog, .vor-settings, .vor-history',
      (all) => all.map((one) => one.getBoundingClientRect().toJSON()),
    );
    assert.ok(box.top >= banner.bottom, `${box.top} px, the banner ends at ${banner.bottom}`);
    assert.ok(history.left >= settings.right && history.top < settings.bottom);
    const { y: dimmed } = await page.locator('#vorProtectionBg').boundingBox();
    assert.ok(Math.abs(dimmed - banner.bottom) <= 1, `dimmed from ${dimmed} px on`);
    const rows = await page.$$eval('#vorModes .field', (all) =>
      all.map((one) => one.lastElementChild.getBoundingClientRect().left),
    );
    assert.ok(new Set(rows).size <= 2, `${rows}`);
  });
}

test('the_health_of_each_side_has_a_shape_and_a_colour', async () => {
  const page = await view.open_protection(
    guarded({
      heldOnBackup: true,
      systems: [health('SER-A', { engineRunning: false }), health('SER-B')],
    }),
  );
  const marks = await page.$$eval('#vorHealthSummary p', (all) =>
    all.map((one) => [getComputedStyle(one, '::before').content[1], getComputedStyle(one).color]),
  );
  assert.deepEqual(marks.map(([shape]) => shape).join(''), '■●▲');
  assert.equal(new Set(marks.map(([, colour]) => colour)).size, 3);
});

test('a_protected_output_that_is_down_marks_the_line_of_its_side_as_its_badge', async () => {
  const page = await view.open_protection();
  const lines = () =>
    page.$$eval('#vorHealthSummary p', (all) =>
      all.map((one) => [one.textContent, getComputedStyle(one, '::before').content[1]]),
    );
  const well = ['Main: Engine responding; frames advancing', '●'];
  const backup_line = 'Backup: Engine responding; frames advancing';
  assert.deepEqual(await lines(), [well, [backup_line, '●']]);
  const outputRules = [{ mainId: 'out-1', backupId: 'gone', mode: 2 }];
  await view.show(with_policy({ outputRules }));
  assert.equal(await view.text('backupStatus'), 'Backup: Stage right PROTECTED OUTPUT FAULT');
  assert.deepEqual(await lines(), [well, [backup_line, '■']]);
  await view.show(status());
  assert.deepEqual(await lines(), [well, [backup_line, '●']]);
});

test('the_live_parts_of_the_dialog_lose_their_colours_without_a_status', async () => {
  const page = await view.open_protection();
  const seen = () =>
    page.$$eval('#vorHealthSummary, #vorOperations, #vorAlertList', (all) =>
      all.map((one) => getComputedStyle(one).filter),
    );
  await view.show('away');
  assert.deepEqual(await seen(), Array(3).fill('grayscale(1)'));
  await view.show(status());
  assert.deepEqual(await seen(), Array(3).fill('none'));
  view.complaints.length = 0; // the browser's own words about the failed request
});

test('polling_does_not_disturb_what_is_typed', async () => {
  const page = await view.open_protection(with_policy({ actions: [action()] }));
  await page.fill('#vorLossMs', '2500');
  await in_action(0).getByLabel('Name', { exact: true }).fill('Half a na');
  await view.show(
    with_policy({ lossMs: 900, actions: [action({ name: 'Other' })] }, { alerts: [alert(1)] }),
  );
  await page.keyboard.type('me');
  assert.deepEqual(await names(), ['Half a name']);
  assert.equal(await page.inputValue('#vorLossMs'), '2500');
});

test('saving_sends_the_whole_draft_with_the_live_arming', async () => {
  const actions = [action()];
  const page = await view.open_protection(
    with_policy({ outputRules: [rule(2, 'out-1', 'out-2')], actions }),
  );
  await page.fill('#vorStallMs', '2000');
  await page.getByLabel(labels.resources).selectOption('0');
  await page.check('#vorAudible');
  await in_action(0).getByLabel('Port', { exact: true }).fill('7001');
  // Disarmed from elsewhere while the dialog is open.
  await view.show(
    with_policy({ outputRules: [rule(2, 'out-1', 'out-2')], actions }, { armed: false }),
  );
  await page.click('text=Save Protection Settings');
  await view.until_text('vorProtectionMessage', 'Protection settings saved.');
  assert.deepEqual(view.posts, [
    {
      path: '/api/protection',
      type: 'text/plain',
      body: policy({
        armed: false,
        audible: true,
        stallMs: 2000,
        resources: 0,
        outputRules: [rule(2, 'out-1', 'out-2')],
        actions: [action({ port: 7001 })],
      }),
    },
  ]);
  assert.equal(await view.visible('vorProtectionBg'), true);
});

const audio_runs = () => view.page.waitForFunction("vorAudio?.state === 'running'");
for (const [button, live, operation, success] of [
  ['Disarm Automatic Failover', { armed: true }, 'disarm', 'Operation completed.'],
  ['Arm Automatic Failover', { armed: false }, 'arm', 'Operation completed.'],
  ['Take Backup', {}, 'backup', 'Operation completed.'],
  ['Return to Main', {}, 'main', 'Operation completed.'],
  ['Acknowledge Alerts', {}, 'acknowledge', 'Current alerts acknowledged.'],
]) {
  test(`the_button_for_${operation}_posts_it`, async () => {
    const page = await view.open_protection(guarded(live));
    await page.getByRole('button', { name: button, exact: true }).click();
    await view.until_text('vorProtectionMessage', success);
    await audio_runs();
    assert.deepEqual(view.posts, [
      { path: '/api/protection/operate', type: 'text/plain', body: { operation } },
    ]);
  });
}

for (const [name, reply, text] of [
  ['a_refusal', { status: 400, json: { ok: false, error: 'Not ready.' } }, 'Not ready.'],
  ['a_refusal_without_words', { status: 400, json: { ok: false } }, 'Request failed.'],
  ['a_failed_status_that_says_ok', { status: 404, json: { ok: true } }, 'Request failed.'],
  ['a_false_ok', { status: 200, json: { ok: false } }, 'Request failed.'],
  ['no_answer', 'away', 'Failed to fetch'],
]) {
  test(`${name}_shows_below_the_dialog_and_keeps_the_draft`, async () => {
    const page = await view.open_protection(with_policy({ actions: [action()] }));
    await page.fill('#vorLossMs', '2500');
    view.reply = reply;
    for (const button of ['Save Protection Settings', 'Take Backup', 'Test Saved Action']) {
      await page.evaluate("say_in_protection('')");
      await page.click(`text=${button}`);
      await view.until_text('vorProtectionMessage', text);
      assert.match((await view.read('vorProtectionMessage')).vorProtectionMessage.dot, /danger/);
      assert.equal(await page.inputValue('#vorLossMs'), '2500');
      assert.equal(await view.visible('vorProtectionBg'), true);
    }
    view.complaints.length = 0; // the browser's own words about the failed request
  });
}

const posts = [
  ['Save Protection Settings', '/api/protection', 'Protection settings saved.'],
  ['Take Backup', '/api/protection/operate', 'Operation completed.'],
  ['Test Saved Action', '/api/protection/test', 'Saved action queued for delivery.'],
];
for (const [button, path] of posts) {
  test(`a_message_gives_way_when_${path}_is_posted_and_the_result_comes_before_the_next_status`, async () => {
    const page = await view.open_protection(with_policy({ actions: [action()] }));
    await view.stop_polling();
    await page.evaluate("say_in_protection('Old.', 'danger', 'Old.')");
    const held = await view.hold(path);
    const polls = await view.hold('/api/status');
    await page.click(`text=${button}`);
    await until('it is on its way', () => held.waiting() === 1);
    assert.equal(await view.text('vorProtectionMessage'), '');
    const beside = (id, which) =>
      page.$eval(id, (one, pseudo) => getComputedStyle(one, pseudo).content, which);
    assert.equal(await beside('#vorProtectionMessage', '::before'), '"Sending..."');
    assert.equal(await beside('#vorOperations', '::after'), 'none');
    held.release();
    await page.waitForFunction("vorProtectionMessage.textContent !== ''");
    await until('the status is asked for', () => polls.waiting() === 1);
    polls.release();
  });

  for (const [name, reply, kind] of [
    ['a_success', { status: 200, json: { ok: true } }, 'good'],
    ['a_refusal', { status: 400, json: { ok: false, error: 'Not ready.' } }, 'danger'],
  ]) {
    test(`${name}_of_${path}_that_comes_after_the_dialog_was_closed_is_not_lost`, async () => {
      const page = await view.open_protection(with_policy({ actions: [action()] }));
      view.reply = reply;
      const held = await view.hold(path);
      await page.click(`text=${button}`);
      await page.keyboard.press('Escape');
      held.release();
      const text = kind === 'good' ? posts.find(([, one]) => one === path)[2] : 'Not ready.';
      await view.until_text('lateResult', text);
      assert.equal(await view.text('vorProtectionMessage'), text);
      assert.equal(await view.visible('lateResult'), true);
      assert.match((await view.read('lateResult')).lateResult.dot, new RegExp(kind));
      view.complaints.length = 0; // the browser's own words about a refusal
    });
  }
}

for (const [open, button] of [
  ['open_setup', 'setupSave'],
  ['open_protection', 'vorSave'],
]) {
  for (const [width, height] of [
    [1024, 600],
    [1920, 1080],
  ]) {
    test(`at_${width}_a_late_result_is_in_no_way_to_a_click_of_${button}_or_of_what_it_covers`, async () => {
      const page = await view[open](status(), { viewport: { width, height } });
      for (const text of [
        'Not ready.',
        'A reason that goes on and on and never ends. '.repeat(80),
      ]) {
        await page.evaluate((words) => show_late_result(words, 'danger'), text);
        const [notice, save_button] = await page.$$eval(
          `#lateResult, #${button}`,
          (all, id) =>
            all
              .sort((one) => (one.id === id ? 1 : -1))
              .map((one) => one.getBoundingClientRect().toJSON()),
          button,
        );
        assert.ok(notice.bottom < save_button.top, `${notice.bottom} px, ${save_button.top} px`);
        const hit = await page.evaluate(
          ({ x, y, width: wide, height: high }) =>
            document.elementFromPoint(x + wide / 2, y + high / 2).id,
          notice,
        );
        assert.notEqual(hit, 'lateResult');
      }
    });
  }
}

test('a_late_result_goes_after_ten_seconds', async () => {
  const page = await view.open(status());
  await view.hold_timers();
  await page.evaluate("show_late_result('Not ready.', 'danger')");
  assert.equal(await view.visible('lateResult'), true);
  await view.run_timers();
  assert.equal(await view.visible('lateResult'), false);
});

test('a_refused_operation_is_told_beside_the_buttons_too', async () => {
  const page = await view.open_protection();
  view.reply = { status: 400, json: { ok: false, error: 'Not ready.' } };
  const beside = () =>
    page.$eval('#vorOperations', (one) => getComputedStyle(one, '::after').content);
  await page.click('text=Take Backup');
  await view.until_text('vorProtectionMessage', 'Not ready.');
  assert.match(await beside(), /Not ready\./);
  await page.click('text=Save Protection Settings');
  await view.until_text('vorProtectionMessage', 'Not ready.');
  assert.equal(await beside(), 'none');
  view.complaints.length = 0; // the browser's own words about the refusals
});

test('what_makes_sense_now_stands_out_among_the_operations', async () => {
  const page = await view.open_protection();
  const marked = () =>
    page.$$eval('.vor-operations button', (all) =>
      all.filter(({ className }) => className).map(({ id }) => id),
    );
  const on_backup = { active: 'backup', activeSerial: 'SER-B' };
  const backup_down = [health('SER-A'), health('SER-B', { engineRunning: false })];
  const main_down = [health('SER-A', { engineRunning: false }), health('SER-B')];
  const not_ready = (changes) =>
    alert(1, {
      message: 'Backup is not ready; automatic protection is degraded.',
      acknowledged: true,
      ...changes,
    });
  for (const [shown, wanted] of [
    [status(), ['vorTakeBackup']],
    [guarded({ systems: backup_down }), []],
    [guarded({ alerts: [not_ready()] }), []],
    [guarded({ alerts: [not_ready({ active: false })] }), ['vorTakeBackup']],
    [guarded({}, on_backup), ['vorReturnMain']],
    [guarded({ systems: main_down, alerts: [alert(1)] }, on_backup), ['vorAcknowledge']],
    [guarded({ systems: main_down, alerts: [alert(1, { acknowledged: true })] }, on_backup), []],
    [guarded({ armed: false }, nothing_active), ['vorArmButton']],
  ]) {
    await view.show(shown);
    assert.deepEqual(await marked(), wanted);
  }
});

test('a_reply_without_an_ok_counts_as_success', async () => {
  const page = await view.open_protection(with_policy({ actions: [action()] }));
  view.reply = { status: 200, json: {} };
  for (const [button, , success] of posts) {
    await page.click(`text=${button}`);
    await view.until_text('vorProtectionMessage', success);
  }
});

for (const [button, path] of posts) {
  test(`${path}_is_followed_by_a_look_at_the_status_whatever_the_reply`, async () => {
    const page = await view.open_protection(with_policy({ actions: [action()] }));
    await view.stop_polling();
    for (const [count, reply] of [
      [3, { status: 200, json: { ok: true } }],
      [7, { status: 400, json: { ok: false } }],
    ]) {
      view.reply = reply;
      view.status = guarded(
        { policy: policy({ actions: [action()] }) },
        { streamDeckCount: count },
      );
      await page.evaluate('requests.length = 0');
      await page.click(`text=${button}`);
      assert.deepEqual(
        (await view.until_requests(2)).map((one) => one.path),
        [path, '/api/status'],
      );
      await view.until_text('deckStatus', String(count));
    }
    view.complaints.length = 0; // the browser's own words about the refusal
  });
}

for (const [button, path, success] of posts) {
  test(`${path}_that_succeeded_is_told_so_whatever_status_comes_after_it`, async () => {
    const page = await view.open_protection(with_policy({ actions: [action()] }));
    await view.stop_polling();
    view.status = status({ systems: [null] });
    await page.click(`text=${button}`);
    await view.until_text('vorProtectionMessage', success);
    await view.until_text('syncStatus', 'Unavailable');
  });

  for (const [name, reply] of [
    ['a_success', { status: 200, json: { ok: true } }],
    ['a_refusal', { status: 400, json: { ok: false, error: 'Not ready.' } }],
  ]) {
    test(`${name}_of_${path}_that_comes_late_is_told_in_a_dialog_that_was_opened_again_too`, async () => {
      const actions = [action()];
      const page = await view.open_protection(with_policy({ actions }));
      await view.stop_polling();
      view.reply = reply;
      view.status = with_policy({ actions }, {});
      const held = await view.hold(path);
      await page.click(`text=${button}`);
      await page.keyboard.press('Escape');
      await page.click('text=Health & Alerts');
      view.status.streamDeckCount = 7;
      held.release();
      await view.until_text('deckStatus', '7');
      const text = name === 'a_success' ? success : 'Not ready.';
      assert.equal(await view.text('vorProtectionMessage'), text);
      assert.equal(await view.text('lateResult'), text);
      // It is not about what this dialog was asked to do.
      const beside = await page.$eval(
        '#vorOperations',
        (one) => getComputedStyle(one, '::after').content,
      );
      assert.equal(beside, 'none');
      view.complaints.length = 0; // the browser's own words about a refusal
    });
  }
}

test('without_a_live_status_nothing_is_sent_that_depends_on_it', async () => {
  const actions = [action()];
  const page = await view.open_protection(with_policy({ actions }));
  await view.stop_polling();
  await page.fill('#vorLossMs', '2500');
  await view.show(status({ protection: undefined }));
  for (const button of [
    'Disarm Automatic Failover',
    'Save Protection Settings',
    'Test Saved Action',
  ]) {
    await page.evaluate("say_in_protection('')");
    await page.click(`text=${button}`);
    assert.equal(await view.text('vorProtectionMessage'), 'Protection status unavailable.');
    assert.match((await view.read('vorProtectionMessage')).vorProtectionMessage.dot, /danger/);
  }
  assert.deepEqual(view.posts, []);
  await view.show(with_policy({ actions }));
  await page.click('text=Save Protection Settings');
  await view.until_text('vorProtectionMessage', 'Protection settings saved.');
  assert.equal(view.posts[0].body.lossMs, 2500);
});

test('a_policy_that_cannot_be_shown_opens_nothing', async () => {
  const page = await view.open(bare());
  await view.stop_polling();
  await page.click('text=Health & Alerts');
  assert.equal(await view.visible('vorProtectionBg'), false);
  assert.equal(await page.evaluate('vorDraft'), null);
  // The service itself is well.
  assert.equal(await view.text('syncStatus'), 'In Sync · Rev 12');
  assert.equal(await view.text('lateResult'), 'Protection settings cannot be shown.');
  await view.show(status());
  await page.click('text=Health & Alerts');
  assert.equal(await view.visible('vorProtectionBg'), true);
});

test('texts_that_look_like_markup_stay_text', async () => {
  const outputs = [output(hostile, { name: hostile }), output('out-1', { name: hostile })];
  const outputRules = [rule(1, hostile, hostile)];
  const page = await view.open_protection(
    guarded({
      policy: policy({
        outputRules,
        actions: [action({ name: hostile, host: hostile, payload: hostile })],
      }),
      systems: [health('SER-A', { outputs }), health('SER-B')],
      alerts: [alert(1, { message: hostile, severity: hostile })],
      lastAction: hostile,
    }),
  );
  assert.equal(
    await page.textContent('#vorBanner p'),
    `PROTECTION ARMED · 1 active alert · ${hostile}`,
  );
  assert.equal(await page.textContent('.vor-alert span'), hostile);
  assert.equal(await view.text('vorLastAction'), hostile);
  const offered = await page.$$eval('.vor-rule select', ([on_main, on_backup]) =>
    [on_main, on_backup].map((select) =>
      [...select.options].map(({ value, textContent }) => [value, textContent]),
    ),
  );
  const select = ['', 'Select output...'];
  assert.deepEqual(offered, [
    [select, [hostile, hostile], ['out-1', hostile]],
    [select, [hostile, `${hostile} (unavailable)`], ['out-1', 'out-1'], ['out-2', 'out-2']],
  ]);
  const [{ name, host, payload }] = await block_values();
  assert.deepEqual([name, host, payload], [hostile, hostile, hostile]);
  view.reply = { status: 400, json: { ok: false, error: hostile } };
  await page.click('text=Take Backup');
  await view.until_text('vorProtectionMessage', hostile);
  await view.assert_no_markup_taken();
  view.complaints.length = 0; // the browser's own words about the refusal
});

test('only_a_saved_action_is_tested', async () => {
  const page = await view.open_protection(
    with_policy({ actions: [action(), action({ name: 'Second' })] }),
  );
  await in_action(1).locator('text=Test Saved Action').click();
  await view.until_text('vorProtectionMessage', 'Saved action queued for delivery.');
  assert.deepEqual(view.posts, [
    { path: '/api/protection/test', type: 'text/plain', body: { index: 1 } },
  ]);
  await in_action(0).getByLabel('Port', { exact: true }).fill('7001');
  await in_action(1).locator('text=Test Saved Action').click();
  await view.until_text('vorProtectionMessage', 'Save action edits before testing.');
  await page.click('text=Add Action');
  await in_action(2).locator('text=Test Saved Action').click();
  await view.until_text('vorProtectionMessage', 'Save action edits before testing.');
  assert.equal(view.posts.length, 1);
});

// A dialog whose next status is on its way and brings what has just been saved.
async function save_before_its_status(before_it, after_it) {
  const page = await view.open_protection(before_it);
  await view.stop_polling();
  const polls = await view.hold('/api/status');
  view.status = after_it;
  return { page, polls };
}

test('an_action_that_was_saved_a_moment_ago_is_tested', async () => {
  const { page, polls } = await save_before_its_status(
    with_policy({ actions: [action()] }),
    with_policy({ actions: [action({ port: 7001 })] }),
  );
  await in_action(0).getByLabel('Port', { exact: true }).fill('7001');
  await page.click('text=Save Protection Settings');
  await view.until_text('vorProtectionMessage', 'Protection settings saved.');
  await until('its status is asked for', () => polls.waiting() === 1);
  await page.click('text=Test Saved Action');
  assert.equal(await view.text('vorProtectionMessage'), '');
  polls.release();
  await view.until_text('vorProtectionMessage', 'Saved action queued for delivery.');
  assert.deepEqual(view.posts[1], {
    path: '/api/protection/test',
    type: 'text/plain',
    body: { index: 0 },
  });
});

test('a_save_right_after_disarming_does_not_arm_again', async () => {
  const { page, polls } = await save_before_its_status(status(), guarded({ armed: false }));
  await page.click('text=Disarm Automatic Failover');
  await view.until_text('vorProtectionMessage', 'Operation completed.');
  await until('its status is asked for', () => polls.waiting() === 1);
  await page.click('text=Save Protection Settings');
  polls.release();
  await view.until_text('vorProtectionMessage', 'Protection settings saved.');
  assert.equal(view.posts[1].body.armed, false);
});

test('what_was_closed_before_its_save_was_sent_is_saved_all_the_same', async () => {
  const { page, polls } = await save_before_its_status(status(), status());
  await page.click('text=Acknowledge Alerts');
  await until('its status is asked for', () => polls.waiting() === 1);
  await page.fill('#vorLossMs', '2500');
  await page.click('text=Save Protection Settings');
  await page.keyboard.press('Escape');
  polls.release();
  await view.until_text('lateResult', 'Protection settings saved.');
  assert.equal(view.posts[1].body.lossMs, 2500);
});

test('a_save_waits_for_no_poll', async () => {
  const { page, polls } = await save_before_its_status(status(), status());
  page.evaluate('refresh()').catch(() => {});
  await until('a status is on its way', () => polls.waiting() === 1);
  await page.click('text=Save Protection Settings');
  await view.until_text('vorProtectionMessage', 'Protection settings saved.');
  assert.equal(view.posts.length, 1);
  polls.release();
});

test('closing_drops_the_draft_and_opening_clears_the_message', async () => {
  const page = await view.open_protection();
  for (const close of ['#vorCloseFoot', 'Escape', 'background']) {
    await page.fill('#vorLossMs', '2500');
    await page.click('text=Take Backup');
    await view.until_text('vorProtectionMessage', 'Operation completed.');
    if (close === 'Escape') await page.keyboard.press('Escape');
    else if (close === 'background') await page.mouse.click(2, 400);
    else await page.click(close);
    assert.equal(await view.visible('vorProtectionBg'), false, close);
    assert.equal(await page.evaluate('vorDraft'), null);
    await page.click('text=Health & Alerts');
    assert.equal(await page.inputValue('#vorLossMs'), '1000', close);
    assert.equal(await view.text('vorProtectionMessage'), '');
  }
});

test('nothing_opens_it_while_a_dialog_is_open', async () => {
  const page = await view.open_protection();
  await page.fill('#vorLossMs', '2500');
  await page.evaluate('open_protection()');
  assert.equal(await page.inputValue('#vorLossMs'), '2500');
  await view.open_setup();
  await page.evaluate('open_protection()');
  assert.equal(await page.evaluate('vorDraft'), null);
});

test('a_click_on_the_dialog_itself_keeps_it_open', async () => {
  const page = await view.open_protection();
  await page.fill('#vorLossMs', '2500');
  await page.click('#vorTitle');
  // Marking text and letting go outside is no click on the background.
  await page.locator('#vorTitle').hover();
  await page.mouse.down();
  await page.mouse.move(2, 400);
  await page.mouse.up();
  assert.equal(await view.visible('vorProtectionBg'), true);
  assert.equal(await page.inputValue('#vorLossMs'), '2500');
});

test('a_change_of_its_check_box_starts_the_audio', async () => {
  for (const audible of [false, true]) {
    const page = await view.open_protection(with_policy({ audible }));
    assert.equal(await page.evaluate('vorAudio'), null);
    await page.click('#vorAudible');
    await audio_runs();
  }
});

test('a_save_starts_the_audio_if_it_is_wanted_and_the_save_succeeds', async () => {
  for (const [audible, reply, text, starts] of [
    [true, { status: 200, json: { ok: true } }, 'Protection settings saved.', true],
    [false, { status: 200, json: { ok: true } }, 'Protection settings saved.', false],
    [true, { status: 400, json: { ok: false } }, 'Request failed.', false],
  ]) {
    const page = await view.open_protection(with_policy({ audible }));
    view.reply = reply;
    await page.click('text=Save Protection Settings');
    await view.until_text('vorProtectionMessage', text);
    if (starts) await audio_runs();
    else assert.equal(await page.evaluate('vorAudio'), null);
    view.complaints.length = 0; // the browser's own words about the refusal
  }
});

// All that the page does with its audio from here on.
const listen = () =>
  view.page.evaluate(() => {
    window.heard = { tones: [], gains: [], ends: [], ways: [] };
    const note = (type, name, tell) => {
      const act = type.prototype[name];
      type.prototype[name] = function (...details) {
        tell(this, ...details);
        return act.apply(this, details);
      };
    };
    const { tones, gains, ends, ways } = window.heard;
    note(AudioScheduledSourceNode, 'start', ({ frequency }) => tones.push(frequency.value));
    note(AudioScheduledSourceNode, 'stop', (_, when) => ends.push(when));
    note(AudioParam, 'setValueAtTime', (_, ...change) => gains.push(change));
    note(AudioParam, 'exponentialRampToValueAtTime', (_, ...change) => gains.push(change));
    note(AudioNode, 'connect', (from, to) =>
      ways.push([from.constructor.name, to.constructor.name]),
    );
  });
const tones = () => view.page.evaluate('heard.tones');
const loud = { audible: true, alerts: [alert(1)] };

// The dialog open, its audio running, and nothing heard so far.
async function start_audio() {
  const page = await view.open_protection();
  await listen();
  await page.click('text=Acknowledge Alerts');
  await audio_runs();
  return page;
}

test('alerts_make_no_sound_while_the_status_names_audible_in_the_policy_alone', async () => {
  await start_audio();
  await view.show(guarded({ policy: policy({ audible: true }), alerts: loud.alerts }));
  assert.deepEqual(await tones(), []);
  // The test of the key stands all the same, one level higher up.
  await view.show(guarded(loud));
  assert.deepEqual(await tones(), [740]);
});

test('only_alerts_that_count_and_wait_for_an_operator_sound', async () => {
  await start_audio();
  for (const changes of [
    { acknowledged: true },
    { severity: 'notice' },
    { active: false, recovered: 1 },
  ]) {
    await view.show(guarded({ ...loud, alerts: [alert(1, changes)] }));
    assert.deepEqual(await tones(), [], JSON.stringify(changes));
  }
  await view.show(guarded({ ...loud, alerts: [alert(1, { acknowledged: true }), alert(2)] }));
  assert.deepEqual(await tones(), [740]);
});

test('audio_that_does_not_run_sounds_nothing_and_misses_nothing', async () => {
  const page = await view.open(status());
  await listen();
  await view.show(guarded(loud));
  assert.equal(await page.evaluate('vorAudio'), null);
  await page.click('text=Health & Alerts');
  await page.click('#vorAudible');
  await until('the alert is heard', async () => (await tones()).length === 1);
  await page.evaluate('vorAudio.suspend()');
  await page.evaluate('vorLastSound = 0');
  await view.show(guarded(loud));
  assert.deepEqual(await tones(), [740]);
  await page.evaluate('vorAudio.resume()');
  await view.show(guarded(loud));
  assert.deepEqual(await tones(), [740, 740]);
});

test('more_than_ten_seconds_lie_between_two_sounds', async () => {
  const page = await start_audio();
  const begin = Date.now();
  for (const [after_ms, count] of [
    [0, 1],
    [1, 1],
    [10000, 1],
    [10001, 2],
    [20001, 2],
    [20002, 3],
  ]) {
    await page.evaluate((now) => (Date.now = () => now), begin + after_ms);
    await view.show(guarded(loud));
    assert.equal((await tones()).length, count, `${after_ms} ms`);
  }
});

test('the_sound_is_a_short_tone_that_falls_away', async () => {
  const page = await start_audio();
  await view.show(guarded(loud));
  const { gains, ends, ways } = await page.evaluate('heard');
  assert.deepEqual(
    gains.map(([value]) => value),
    [0.08, 0.001],
  );
  const [[, begin], [, end]] = gains;
  assert.ok(Math.abs(end - begin - 0.25) < 0.02, `${end - begin} s`);
  assert.deepEqual(ends, [end]);
  assert.deepEqual(ways, [
    ['OscillatorNode', 'GainNode'],
    ['GainNode', 'AudioDestinationNode'],
  ]);
});
