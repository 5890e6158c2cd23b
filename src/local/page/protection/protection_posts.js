const say_in_protection = (text, kind) =>
  show_message(by_id('vorProtectionMessage'), text, kind);

async function post_to_protection(path, body) {
  const { succeeded, reply } = await post(path, body);
  await refresh();
  if (!succeeded || reply.ok === false) throw new Error(reply.error || 'Request failed.');
}

async function report_post(path, body, success) {
  try {
    await post_to_protection(path, body);
  } catch (error) {
    say_in_protection(error.message, 'danger');
    return false;
  }
  say_in_protection(success, 'good');
  return true;
}

// Saving must not arm or disarm: that is what the button is for.
async function save_protection() {
  collect_draft();
  vorDraft.armed = state.protection.armed;
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
  collect_draft();
  const saved = state.protection.policy.actions;
  if (JSON.stringify(vorDraft.actions) !== JSON.stringify(saved)) {
    say_in_protection('Save action edits before testing.', 'warntext');
    return;
  }
  await report_post('/api/protection/test', { index }, 'Saved action queued for delivery.');
}

by_id('vorArmButton').addEventListener('click', () =>
  operate(state.protection.armed ? 'disarm' : 'arm'),
);
by_id('vorTakeBackup').addEventListener('click', () => operate('backup'));
by_id('vorReturnMain').addEventListener('click', () => operate('main'));
by_id('vorAcknowledge').addEventListener('click', () => operate('acknowledge'));
by_id('vorSave').addEventListener('click', save_protection);
