// The states that an operator has to tell apart at a glance, and what opens each of them.
import {
  action,
  alert,
  backup,
  health,
  main,
  nothing_active,
  offline,
  policy,
  protection,
  status,
} from './page_status.mjs';

const stopped = [health('SER-A', { engineRunning: false }), health('SER-B')];
const engine_stopped = alert(1);
const moved = alert(2, {
  severity: 'notice',
  message: 'Engine stopped or exited.; operating on Backup. Return to Main manually when ready.',
});
const on_backup = { active: 'backup', activeSerial: 'SER-B' };
const guarded = (changes, others) => status({ protection: protection(changes), ...others });

export const held = guarded(
  { heldOnBackup: true, alerts: [{ ...moved, active: false, recovered: moved.started + 1 }] },
  on_backup,
);
export const failed_over = guarded(
  { heldOnBackup: true, systems: stopped, alerts: [engine_stopped, moved] },
  on_backup,
);
export const disarmed_fault = guarded({ armed: false, systems: stopped, alerts: [engine_stopped] });
export const main_lost = guarded(
  {
    heldOnBackup: true,
    systems: [health('SER-A', { ageMs: 60000 }), health('SER-B')],
    alerts: [alert(1, { message: 'Main: Server communication lost.', acknowledged: true })],
  },
  { ...on_backup, systems: [main(offline), backup()] },
);
export const both_lost = guarded(
  {
    systems: ['SER-A', 'SER-B'].map((serial) => health(serial, { ageMs: 60000 })),
    alerts: ['Main', 'Backup'].map((role, index) =>
      alert(index + 1, { message: `${role}: Server communication lost.` }),
    ),
  },
  { ...nothing_active, systems: [main(offline), backup(offline)] },
);
export const unconfigured = status({
  ...nothing_active,
  enabled: false,
  controllerConfigured: false,
  systems: [],
  policySyncMessage: '',
  streamDeckCount: 0,
  protection: protection({ armed: false, systems: [] }),
});
const outputRules = [
  { mainId: 'out-1', backupId: 'out-1', mode: 2 },
  { mainId: 'out-2', backupId: 'gone', mode: 1 },
];
export const full = status({
  ...failed_over,
  protection: { ...failed_over.protection, policy: policy({ outputRules, actions: [action()] }) },
});

const page_with = (shown) => (view, options) => view.open(shown, options);

async function blind(view, options) {
  await view.open(status(), options);
  await view.show('away');
}

// By name: what opens it on a PageView.
export const page_states = {
  'main-on-air': page_with(status()),
  'backup-held': page_with(held),
  'failed-over': page_with(failed_over),
  'main-stopped-on-air': page_with(disarmed_fault),
  'main-offline': page_with(main_lost),
  'both-offline': page_with(both_lost),
  blind,
  'nothing-configured': page_with(unconfigured),
  'protection-dialog': (view, options) => view.open_protection(full, options),
  'setup-dialog': (view, options) => view.open_setup(status(), options),
};
