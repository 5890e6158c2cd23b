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

let setup_messages = 0;

function say_in_setup(text, kind) {
  setup_messages += 1;
  show_message(by_id('setupStatus'), text, kind);
}

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

async function follow_port(port, tell) {
  tell(`Configuration saved. Switching Redundancy Control to port ${port}...`, 'good');
  if (await move_to_port(port)) return;
  tell(
    'Port saved, but the browser could not reconnect automatically. Reopen Redundancy Control ' +
      'from the tray/menu-bar icon.',
    'warntext',
  );
}

// The reply, or why there is none to go on with.
async function post_setup(form) {
  try {
    const { succeeded, reply } = await post('/api/configure', form);
    if (succeeded && reply.ok === true) return { reply, port: form.uiPort };
    return { failure: reply.error || 'Save failed' };
  } catch (error) {
    return { failure: error.message };
  }
}

// Defaults that nobody chose must not be saved over what is stored: that is read first, and only
// what the operator has changed replaces it.
async function post_edits(edits) {
  const error = await refresh();
  if (error) return { failure: error.message || 'Save failed' };
  const form = { ...stored_settings(), ...edits };
  const wrong = setup_error(form);
  return wrong ? { failure: wrong } : post_setup(form);
}

// The opening of the dialog whose form is on its way; 0 for none.
let setup_posting = 0;

async function send_setup(form) {
  const opening = setup_openings;
  // Closed meanwhile, or opened again for something else, the dialog alone would not tell enough.
  const is_here = () => opening === setup_openings && by_id('setupBg').open;
  const tell = (text, kind) => {
    say_in_setup(text, kind);
    if (!is_here()) show_late_result(text, kind);
  };
  setup_posting = opening;
  say_in_setup('Saving configuration...');
  const { reply, port, failure } = await (unread_form
    ? post_edits(edits_of(form))
    : post_setup(form));
  if (setup_posting === opening) setup_posting = 0;
  if (failure) {
    tell(`Unable to save configuration: ${failure}`, 'danger');
  } else if (reply.uiPortChanged) {
    await follow_port(port, tell);
  } else {
    const { message, serverUpdated } = reply;
    tell(message || 'Configuration saved.', serverUpdated ? 'good' : 'warntext');
    // A warning stays for longer, to be read.
    if (is_here()) setup_closing = setTimeout(close_setup, serverUpdated ? 700 : 1500);
    await refresh();
  }
}

async function save_setup() {
  clearTimeout(setup_closing);
  const form = read_setup_form();
  const error = setup_error(form);
  if (error) say_in_setup(error, 'danger');
  else if (setup_posting !== setup_openings) await send_setup(form);
}

by_id('setupSave').addEventListener('click', save_setup);
