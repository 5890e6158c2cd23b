const read_setup_form = () => ({
  enabled: by_id('enabled').checked,
  mainSerial: by_id('mainSelect').value,
  backupSerial: by_id('backupSelect').value,
  uiPort: Number.parseInt(by_id('uiPort').value, 10),
  openBrowserOnStart: by_id('openBrowserOnStart').checked,
  sharedFunctionIds: checked_commands(),
});

// The first thing wrong with the form; empty if it can be sent.
function setup_error({ enabled, mainSerial, backupSerial, uiPort }) {
  if (!(uiPort >= 1024 && uiPort <= 65535)) {
    return 'Control UI port must be between 1024 and 65535.';
  }
  if (enabled && (!mainSerial || !backupSerial)) return 'Choose both a Main and a Backup.';
  if (mainSerial && mainSerial === backupSerial) {
    return 'Main and Backup must be different systems.';
  }
  return '';
}

const say_in_setup = (text, kind) => show_message(by_id('setupStatus'), text, kind);

const saved_text = ({ message }) => message || 'Configuration saved.';
const saved_kind = ({ serverUpdated }) => (serverUpdated ? 'good' : 'warntext');
const failed_text = (failure) => `Unable to save configuration: ${failure}`;

// True once the page is on its way to the new port; false if the program stays on the old one.
async function move_to_port(port) {
  for (let tries = 0; tries < 30; tries += 1) {
    await pause(200);
    const status = await get_status().catch(() => null);
    if (!status) continue;
    if (status.runtimeUiPort === port) {
      location.replace(`http://127.0.0.1:${port}/`);
      return true;
    }
    if (status.uiPort !== port) return false;
  }
  return false;
}

async function follow_port(port) {
  say_in_setup(`Configuration saved. Switching Redundancy Control to port ${port}...`, 'good');
  if (await move_to_port(port)) return;
  say_in_setup(
    'Port saved, but the browser could not reconnect automatically. Reopen Redundancy Control ' +
      'from the tray/menu-bar icon.',
    'warntext',
  );
}

// A warning stays for longer, to be read.
async function finish_setup(reply) {
  say_in_setup(saved_text(reply), saved_kind(reply));
  setup_closing = setTimeout(close_setup, reply.serverUpdated ? 700 : 1500);
  await refresh();
}

// The reply, or why there is none to go on with.
async function post_setup(form) {
  try {
    const { succeeded, reply } = await post('/api/configure', form);
    if (succeeded && reply.ok === true) return { reply };
    return { failure: reply.error || 'Save failed' };
  } catch (error) {
    return { failure: error.message };
  }
}

// The opening of the dialog whose form is on its way; 0 for none.
let setup_posting = 0;

async function send_setup(form) {
  const opening = setup_openings;
  setup_posting = opening;
  say_in_setup('Saving configuration...');
  const { reply, failure } = await post_setup(form);
  if (setup_posting === opening) setup_posting = 0;
  // Closed meanwhile, or opened again for something else: then the dialog is no place for it. A page
  // whose port goes away follows it all the same.
  if ((opening !== setup_openings || !by_id('setupBg').open) && !reply?.uiPortChanged) {
    if (failure) show_late_result(failed_text(failure), 'danger');
    else show_late_result(saved_text(reply), saved_kind(reply));
    return;
  }
  if (failure) say_in_setup(failed_text(failure), 'danger');
  else if (reply.uiPortChanged) await follow_port(form.uiPort);
  else await finish_setup(reply);
}

async function save_setup() {
  if (!state || setup_posting === setup_openings) return;
  clearTimeout(setup_closing);
  const form = read_setup_form();
  const error = setup_error(form);
  if (error) say_in_setup(error, 'danger');
  else await send_setup(form);
}

by_id('setupSave').addEventListener('click', save_setup);
