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

// Filled at opening alone: a poll must not disturb what is being edited.
function fill_setup_dialog() {
  by_id('enabled').checked = state?.enabled === true;
  by_id('uiPort').value = state?.uiPort ?? 5270;
  by_id('openBrowserOnStart').checked = state?.openBrowserOnStart !== false;
  fill_pair_lists();
  fill_commands(state?.sharedFunctionIds ?? recommendedIds);
  const path = state?.configPath || 'operator-control.json';
  set_text(by_id('configPath'), `Workstation configuration: ${path}`);
  set_title(by_id('configPath'), path);
  show_message(by_id('setupStatus'), state?.policySyncMessage ?? '');
}

let setup_closing = 0;
let setup_openings = 0;

// Without a status there is nothing to edit: what stood there would be saved over what is stored.
function offer_setup() {
  const [body] = by_id('setupBg').getElementsByClassName('dialog-body');
  body.inert = !state;
  by_id('setupSave').disabled = !state;
  if (state) fill_setup_dialog();
  if (is_blind()) show_message(by_id('setupStatus'), service_unavailable, 'danger');
}

// The first status fills the dialog that was opened before it came.
function offer_setup_at_last() {
  if (by_id('setupBg').open && by_id('setupSave').disabled) offer_setup();
}

async function open_setup() {
  if (!state) await refresh();
  if (opened_dialog()) return;
  clearTimeout(setup_closing);
  setup_openings += 1;
  offer_setup();
  show_dialog(by_id('setupBg'));
}

function close_setup() {
  clearTimeout(setup_closing);
  hide_dialog(by_id('setupBg'));
}

// The lists are filled at opening alone, and tell what came of it.
async function rediscover() {
  const opening = setup_openings;
  await post('/api/discover').catch(() => {});
  await pause(250);
  await refresh();
  if (opening !== setup_openings || setup_posting === opening) return;
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
