function system_option(system, selected_serial) {
  const name = system.workstation || system.serial;
  const place = system.address ? ` (${system.address})` : '';
  const text = `${name} - ${system.online ? 'Online' : 'Offline'}${place}`;
  return make_option(system.serial, text, system.serial === selected_serial);
}

function fill_system_list(list, selected_serial, excluded_serial = '') {
  const systems = known_systems().filter(
    (system) => system?.serial && system.serial !== excluded_serial,
  );
  list.replaceChildren(
    make_option('', 'Select system...', false),
    ...systems.map((system) => system_option(system, selected_serial)),
  );
}

const serial_with_role = (role) => system_with_role(role)?.serial ?? '';

function fill_pair_lists() {
  const main = serial_with_role('Main');
  fill_system_list(by_id('mainSelect'), main);
  fill_system_list(by_id('backupSelect'), serial_with_role('Backup'), main);
}

function exclude_chosen_main() {
  const backups = by_id('backupSelect');
  fill_system_list(backups, backups.value, by_id('mainSelect').value);
}

// What is stored, as far as a status has told it.
const stored_settings = () => ({
  enabled: state?.enabled === true,
  mainSerial: serial_with_role('Main'),
  backupSerial: serial_with_role('Backup'),
  uiPort: state?.uiPort ?? 5270,
  openBrowserOnStart: state?.openBrowserOnStart !== false,
  sharedFunctionIds: state?.sharedFunctionIds ?? recommendedIds,
});

// The form as it was filled before any status had been read; null once it holds what is stored.
let unread_form = null;

// Filled at opening alone: a poll must not disturb what is being edited.
function fill_setup_form(edits = {}) {
  const shown = { ...stored_settings(), ...edits };
  by_id('enabled').checked = shown.enabled;
  by_id('uiPort').value = shown.uiPort;
  by_id('openBrowserOnStart').checked = shown.openBrowserOnStart;
  fill_pair_lists();
  fill_commands(shown.sharedFunctionIds);
  const path = state?.configPath || 'operator-control.json';
  set_text(by_id('configPath'), `Workstation configuration: ${path}`);
  set_title(by_id('configPath'), path);
  unread_form = state ? null : read_setup_form();
}

// What the operator has changed in a form that was filled without a status.
function edits_of(form) {
  const same = (key) => JSON.stringify(form[key]) === JSON.stringify(unread_form[key]);
  return Object.fromEntries(Object.entries(form).filter(([key]) => !same(key)));
}

function say_how_setup_stands() {
  if (state) say_in_setup(state.policySyncMessage ?? '');
  else say_in_setup(service_unavailable, 'danger');
}

// The first status fills what nobody has touched of a dialog that was opened before it came.
function fill_unread_setup() {
  if (!unread_form || !by_id('setupBg').open) return;
  fill_setup_form(edits_of(read_setup_form()));
  if (by_id('setupStatus').textContent === service_unavailable) say_how_setup_stands();
}

let setup_closing = 0;
let setup_openings = 0;

async function open_setup() {
  if (!state) await refresh();
  if (opened_dialog()) return;
  clearTimeout(setup_closing);
  setup_openings += 1;
  fill_setup_form();
  say_how_setup_stands();
  show_dialog(by_id('setupBg'));
}

function close_setup() {
  clearTimeout(setup_closing);
  hide_dialog(by_id('setupBg'));
}

// The lists are filled at opening alone, and tell what came of it. Whatever was said since, or is
// still to be said of a save, matters more than that it has ended. Of one that failed nothing is
// said.
async function rediscover() {
  const messages = setup_messages;
  const { succeeded } = await post('/api/discover').catch(() => ({}));
  await pause(250);
  const error = await refresh();
  if (!succeeded || error || messages !== setup_messages || setup_posting === setup_openings)
    return;
  say_in_setup('Discovery has ended. Open this dialog again to see what was found.');
}

prepare_dialog(by_id('setupBg'), close_setup);
share_tooltips(by_id('setupBg'));
by_id('openSetup').addEventListener('click', open_setup);
by_id('openSetupFromCard').addEventListener('click', open_setup);
by_id('setupClose').addEventListener('click', close_setup);
by_id('setupCancel').addEventListener('click', close_setup);
by_id('mainSelect').addEventListener('change', exclude_chosen_main);
by_id('commandsRecommended').addEventListener('click', () => check_commands(recommendedIds));
by_id('commandsAll').addEventListener('click', () =>
  check_commands(commandDefs.map(({ id }) => id)),
);
by_id('commandsNone').addEventListener('click', () => check_commands([]));
by_id('rediscover').addEventListener('click', rediscover);
