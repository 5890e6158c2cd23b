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

// The form as it was filled before any status had been read; empty once it holds what is stored.
let unread_form = '';

// Filled at opening alone: a poll must not disturb what is being edited.
function fill_setup_form() {
  by_id('enabled').checked = state?.enabled === true;
  by_id('uiPort').value = state?.uiPort ?? 5270;
  by_id('openBrowserOnStart').checked = state?.openBrowserOnStart !== false;
  fill_pair_lists();
  fill_commands(state?.sharedFunctionIds ?? recommendedIds);
  const path = state?.configPath || 'operator-control.json';
  set_text(by_id('configPath'), `Workstation configuration: ${path}`);
  set_title(by_id('configPath'), path);
  unread_form = state ? '' : form_text();
}

const form_text = () => JSON.stringify(read_setup_form());

function say_how_setup_stands() {
  if (state) say_in_setup(state.policySyncMessage ?? '');
  else say_in_setup(service_unavailable, 'danger');
}

// The first status fills a dialog that was opened before it came. What was edited meanwhile stays
// until it is saved.
function fill_unread_setup() {
  if (!unread_form || !by_id('setupBg').open) return;
  if (form_text() === unread_form) fill_setup_form();
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
// still to be said of a save, matters more than that it has ended.
async function rediscover() {
  const messages = setup_messages;
  await post('/api/discover').catch(() => {});
  await pause(250);
  const error = await refresh();
  if (error || messages !== setup_messages || setup_posting === setup_openings) return;
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
