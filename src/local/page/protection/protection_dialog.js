// The policy that is being edited; null while the dialog is closed.
let vorDraft = null;

function collect_draft() {
  collect_policy_form();
  collect_output_rules();
  collect_actions();
}

function fill_protection_dialog() {
  fill_policy_form();
  fill_output_rules();
  fill_actions();
}

function render_health_summary(protection) {
  const lines = sides.map((side) => {
    const { line, health } = badge_condition(side, system_with_role(side.role), protection);
    return { text: `${side.role}: ${line}`, health };
  });
  if (protection.heldOnBackup) {
    lines.push({ text: 'Held on Backup. Recovery does not return automatically.', health: 'warn' });
  }
  const summary = by_id('vorHealthSummary');
  const shown = [...summary.children].map(({ textContent, dataset }) => ({
    text: textContent,
    health: dataset.health,
  }));
  if (JSON.stringify(shown) === JSON.stringify(lines)) return;
  summary.replaceChildren(...lines.map(make_health_line));
}

function make_health_line({ text, health }) {
  const line = make('p', { textContent: text });
  line.dataset.health = health;
  return line;
}

// The side that the show can be moved to now, if any.
function ready_side(protection) {
  const target = sides.find(({ id }) => id === { main: 'backup', backup: 'main' }[state.active]);
  const system = target && system_with_role(target.role);
  return system && badge_condition(target, system, protection).health === 'good' ? target.id : '';
}

// The program knows more about Backup than its health: its show, its outputs, its engine's start.
const says_backup_is_not_ready = ({ active, message }) =>
  active && String(message).includes('Backup is not ready');

// What makes sense now stands out; the rest stays possible.
function emphasise_operations(protection) {
  const side = ready_side(protection);
  const alerts = protection.alerts ?? [];
  const waiting = alerts.some(({ active, acknowledged }) => active && !acknowledged);
  const refused = alerts.some(says_backup_is_not_ready);
  by_id('vorTakeBackup').classList.toggle('primary', side === 'backup' && !refused);
  by_id('vorReturnMain').classList.toggle('primary', side === 'main');
  by_id('vorAcknowledge').classList.toggle('waiting', waiting);
  by_id('vorArmButton').classList.toggle('waiting', !protection.armed);
}

// What follows the status while the dialog is open. The rest belongs to the operator.
function render_protection_dialog(protection) {
  set_text(
    by_id('vorArmButton'),
    protection.armed ? 'Disarm Automatic Failover' : 'Arm Automatic Failover',
  );
  render_health_summary(protection);
  emphasise_operations(protection);
  const running = protection.actionsBusy ? 'Outbound sequence running. ' : '';
  const last = protection.lastAction || 'No external actions have run.';
  set_text(by_id('vorLastAction'), running + last);
  render_alert_list(protection);
}

function open_protection() {
  if (!state?.protection || opened_dialog()) return;
  try {
    vorDraft = structuredClone(state.protection.policy);
    fill_protection_dialog();
    render_protection_dialog(state.protection);
  } catch {
    // A policy that can't be shown can't be edited either.
    vorDraft = null;
    show_late_result('Protection settings cannot be shown.', 'danger');
    return;
  }
  say_in_protection('');
  show_dialog(by_id('vorProtectionBg'));
}

function close_protection() {
  vorDraft = null;
  hide_dialog(by_id('vorProtectionBg'));
}

prepare_dialog(by_id('vorProtectionBg'), close_protection);
share_tooltips(by_id('vorProtectionBg'));
by_id('vorCloseFoot').addEventListener('click', close_protection);
by_id('vorAddRule').addEventListener('click', add_rule);
by_id('vorAddAction').addEventListener('click', add_action);
by_id('vorAudible').addEventListener('change', enable_audio);
