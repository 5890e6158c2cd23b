// A refused operation is told beside the buttons too, where the operator looks.
function say_in_protection(text, kind = '', refused = '') {
  show_message(by_id('vorProtectionMessage'), text, kind);
  by_id('vorOperations').dataset.refused = refused;
}

async function post_to_protection(path, body) {
  const { succeeded, reply } = await post(path, body);
  if (!succeeded || reply.ok === false) throw new Error(reply.error || 'Request failed.');
}

// Whether it succeeded. What came of it is told before anything else is asked for; if the dialog was
// closed meanwhile, or is open again for something else, in a place of its own.
async function report_post(path, body, success) {
  const draft = vorDraft;
  say_in_protection('', 'sending');
  const failure = await post_to_protection(path, body).catch((error) => error);
  const [text, kind] = failure ? [failure.message, 'danger'] : [success, 'good'];
  const refused = failure && 'operation' in body ? text : '';
  if (draft && vorDraft === draft) say_in_protection(text, kind, refused);
  else show_late_result(text, kind);
  await refresh();
  return !failure;
}

// What is live right now; without it nobody knows what to toggle or to keep.
function live_protection() {
  if (!state.protection) say_in_protection('Protection status unavailable.', 'danger');
  return state.protection;
}

// Saving must not arm or disarm: that is what the button is for.
async function save_protection() {
  const live = live_protection();
  if (!live) return;
  collect_draft();
  vorDraft.armed = live.armed;
  const { audible } = vorDraft;
  const saved = await report_post('/api/protection', vorDraft, 'Protection settings saved.');
  if (saved && audible) enable_audio();
}

function operate(operation) {
  enable_audio();
  const success =
    operation === 'acknowledge' ? 'Current alerts acknowledged.' : 'Operation completed.';
  return report_post('/api/protection/operate', { operation }, success);
}

async function test_action(index) {
  const live = live_protection();
  if (!live) return;
  collect_draft();
  const saved = live.policy?.actions;
  if (JSON.stringify(vorDraft.actions) !== JSON.stringify(saved)) {
    say_in_protection('Save action edits before testing.', 'warntext');
    return;
  }
  await report_post('/api/protection/test', { index }, 'Saved action queued for delivery.');
}

function toggle_arming() {
  const live = live_protection();
  if (live) operate(live.armed ? 'disarm' : 'arm');
}

by_id('vorArmButton').addEventListener('click', toggle_arming);
by_id('vorTakeBackup').addEventListener('click', () => operate('backup'));
by_id('vorReturnMain').addEventListener('click', () => operate('main'));
by_id('vorAcknowledge').addEventListener('click', () => operate('acknowledge'));
by_id('vorSave').addEventListener('click', save_protection);
