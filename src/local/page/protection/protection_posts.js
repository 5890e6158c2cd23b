// A refused operation is told beside the buttons too, where the operator looks.
function say_in_protection(text, kind = '', refused = '') {
  show_message(by_id('vorProtectionMessage'), text, kind);
  by_id('vorOperations').dataset.refused = refused;
}

async function post_to_protection(path, body) {
  const { succeeded, reply } = await post(path, body);
  if (!succeeded || reply.ok === false) throw new Error(reply.error || 'Request failed.');
}

// Whether it succeeded. What came of it is told before anything else is asked for; if the dialog
// was closed meanwhile, or is open again for something else, in a place of its own as well.
async function post_and_tell(path, body, success, draft) {
  say_in_protection('', 'sending');
  const failure = await post_to_protection(path, body).catch((error) => error);
  const [text, kind] = failure ? [failure.message, 'danger'] : [success, 'good'];
  const here = draft && vorDraft === draft;
  say_in_protection(text, kind, failure && here && 'operation' in body ? text : '');
  if (!here) show_late_result(text, kind);
  await refresh();
  return !failure;
}

// Until the status behind each has come, what is live is not known.
const running_reports = new Set();

function report_post(path, body, success, draft = vorDraft) {
  const running = post_and_tell(path, body, success, draft).finally(() =>
    running_reports.delete(running),
  );
  running_reports.add(running);
  return running;
}

async function earlier_reports() {
  say_in_protection('', 'sending');
  await Promise.all(running_reports);
}

// What is live right now; without it nobody knows what to toggle or to keep.
function live_protection() {
  if (!state.protection) say_in_protection('Protection status unavailable.', 'danger');
  return state.protection;
}

// Saving must not arm or disarm: that is what the button is for.
async function save_protection() {
  collect_draft();
  const draft = vorDraft;
  if (running_reports.size > 0) await earlier_reports();
  const live = live_protection();
  if (!live) return;
  draft.armed = live.armed;
  const { audible } = draft;
  const saved = await report_post('/api/protection', draft, 'Protection settings saved.', draft);
  if (saved && audible) enable_audio();
}

function operate(operation) {
  enable_audio();
  const success =
    operation === 'acknowledge' ? 'Current alerts acknowledged.' : 'Operation completed.';
  return report_post('/api/protection/operate', { operation }, success);
}

async function test_action(index) {
  collect_draft();
  const draft = vorDraft;
  if (running_reports.size > 0) await earlier_reports();
  const live = live_protection();
  if (!live) return;
  if (JSON.stringify(draft.actions) !== JSON.stringify(live.policy?.actions)) {
    say_in_protection('Save action edits before testing.', 'warntext');
    return;
  }
  const success = 'Saved action queued for delivery.';
  await report_post('/api/protection/test', { index }, success, draft);
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
