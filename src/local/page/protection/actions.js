const event_options = [
  ['backup', 'Transfer to Backup'],
  ['main', 'Return to Main'],
];
const transport_options = [
  ['TCP', 'TCP'],
  ['UDP', 'UDP'],
];

const text_field = (value) => make('input', { type: 'text', value, spellcheck: false });
const number_field = (min, max) => (value) =>
  make('input', { type: 'number', min, max, step: 1, value });
const choice_field = (options) => (value) => make_select(options, value);
const command_field = (value) => make('textarea', { value, rows: 2, spellcheck: false });

// Everything of an action but its check box, in the order of the block.
const action_fields = [
  ['name', 'Name', text_field, 'Shown in results and alerts.'],
  ['host', 'Destination host', text_field, 'Name or address of the device.'],
  ['port', 'Port', number_field(1, 65535), 'Port of the device, 1 to 65535.'],
  ['event', 'Event', choice_field(event_options), 'The transfer that runs this action.'],
  ['transport', 'Transport', choice_field(transport_options), 'How the command is sent.'],
  ['delayMs', 'Delay before step (ms)', number_field(0, 10000), 'Wait before it, 0 to 10000.'],
  ['timeoutMs', 'Connect/send timeout (ms)', number_field(100, 3000), 'Of one try, 100 to 3000.'],
  ['retries', 'Retries (0-3)', number_field(0, 3), 'Further attempts after a failure.'],
  ['payload', 'Command string', command_field, 'The bytes to send, escapes as told above.'],
];

const new_action = () => ({
  name: `Action ${vorDraft.actions.length + 1}`,
  event: 'backup',
  host: '',
  port: 0,
  transport: 'TCP',
  payload: '',
  delayMs: 0,
  timeoutMs: 1000,
  retries: 0,
  enabled: false,
});

function make_action_field(action, [key, label, make_control, tooltip]) {
  const control = make_control(action[key]);
  control.dataset.key = key;
  const field = make_field(label, control, tooltip);
  field.classList.add(`vor-${key}`);
  return field;
}

function make_enable_box(action, index) {
  const tooltip = 'Run this action on its event.';
  const box = make('input', { type: 'checkbox', checked: action.enabled, title: tooltip });
  box.dataset.key = 'enabled';
  return make('label', { className: 'check', title: tooltip }, box, ` Enable action ${index + 1}`);
}

function make_action_block(action, index) {
  const buttons = make(
    'div',
    { className: 'buttons' },
    make_button('Test Saved Action', 'Send the saved command now.', () => test_action(index)),
    make_button('Move Up', 'Run this action earlier.', () => move_action(index, -1)),
    make_button('Move Down', 'Run this action later.', () => move_action(index, 1)),
    make_button('Remove Action', 'Take this action out of the list.', () => remove_action(index)),
  );
  const fields = action_fields.map((field) => make_action_field(action, field));
  return make(
    'div',
    block_properties('vor-action', `Action ${index + 1}`),
    make_enable_box(action, index),
    make('div', { className: 'fields' }, ...fields),
    buttons,
  );
}

function fill_actions() {
  by_id('vorActionList').replaceChildren(...vorDraft.actions.map(make_action_block));
}

function field_value(control) {
  if (control.type === 'checkbox') return control.checked;
  return control.type === 'number' ? Number(control.value) : control.value;
}

function collect_actions() {
  [...by_id('vorActionList').children].forEach((block, index) => {
    for (const control of block.querySelectorAll('[data-key]')) {
      vorDraft.actions[index][control.dataset.key] = field_value(control);
    }
  });
}

function add_action() {
  collect_draft();
  vorDraft.actions.push(new_action());
  fill_actions();
  focus_in_block(by_id('vorActionList'), vorDraft.actions.length - 1, '[data-key=name]');
}

function remove_action(index) {
  collect_draft();
  vorDraft.actions.splice(index, 1);
  fill_actions();
  focus_block(by_id('vorActionList'), index);
}

function move_action(index, step) {
  collect_draft();
  const { actions } = vorDraft;
  const place = index + step;
  if (place < 0 || place >= actions.length) return;
  [actions[index], actions[place]] = [actions[place], actions[index]];
  fill_actions();
  focus_in_block(by_id('vorActionList'), place, `button:nth-child(${step < 0 ? 2 : 3})`);
}
