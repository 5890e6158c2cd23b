// The ordinary case: Main SER-A and Backup SER-B, healthy, paired and watched with short delays. A
// busy machine must not make a healthy server look lost: six polls in a row would have to fail.
import { addresses } from './environment.mjs';
import { Server } from './network.mjs';
import { active_alerts, get_status, operate, post, system_of, until_status } from './operator.mjs';
import { until } from './waiting.mjs';
import { Workstation } from './workstation.mjs';

export const quick_policy = {
  armed: true,
  lossMs: 1500,
  stallMs: 500,
  outputMs: 500,
  startupMs: 1000,
};

export function paired_config(changes = {}) {
  const system = (host, serial, role, main = '') => ({
    serial,
    workstation: `The ${host}`,
    address: addresses[host],
    webPort: 5000,
    role,
    backupForSerial: main,
  });
  return {
    enabled: true,
    controllerConfigured: true,
    uiPort: 5270,
    openBrowserOnStart: false,
    systems: [system('main', 'SER-A', 'Main'), system('backup', 'SER-B', 'Backup', 'SER-A')],
    sharedFunctionIds: [3, 7],
    ...changes,
  };
}

// An outbound command that the outside device receives when operation moves to Backup.
export const command = (name, changes = {}) => ({
  name,
  event: 'backup',
  host: addresses.device,
  port: 7000,
  transport: 'TCP',
  payload: name,
  delayMs: 0,
  timeoutMs: 3000,
  retries: 0,
  enabled: true,
  ...changes,
});

export class Pair {
  // `prepare` gets the workstation before its program starts.
  static async start(prepare = () => {}) {
    const pair = new Pair();
    pair.main = await Server.start('main', 'SER-A');
    pair.backup = await Server.start('backup', 'SER-B');
    pair.workstation = new Workstation();
    pair.workstation.write_config(paired_config());
    pair.workstation.write_state(quick_policy);
    prepare(pair.workstation);
    await pair.workstation.start();
    await pair.settle();
    // A program that is stopped meanwhile would tell that Backup hasn't followed.
    await until_status('Backup has the new show', follows);
    return pair;
  }

  // Both servers healthy, Main active, nothing faulty, whatever was before.
  async settle(policy = {}) {
    await this.main.heal();
    await this.backup.heal();
    // Ahead of the policy: the alert of an output that it names no more would stand for ever.
    await until_status('both servers are well', is_well);
    await post('/api/protection', { ...quick_policy, ...policy });
    await until('operation is back on Main', async () => (await operate('main')).ok);
    return until_status('Main is active', (now) => now.active === 'main' && is_well(now));
  }

  async stop() {
    await this.workstation.stop();
    await this.workstation.remove();
    await this.main.stop();
    await this.backup.stop();
  }
}

// The notice of a transfer, and an outbound step that has not succeeded since.
const stands_for_long = (message) => / \/ |; operating on /.test(message);

function follows(status) {
  const [main, backup] = ['SER-A', 'SER-B'].map((serial) => system_of(status, serial));
  return (
    main.replicationRevision >= 1 && backup.replicationAppliedRevision === main.replicationRevision
  );
}

function is_well(status) {
  return (
    status.policySynchronized &&
    status.protection.systems.length === 2 &&
    status.protection.systems.every(
      (health) =>
        health.ageMs >= 0 &&
        health.ageMs < 500 &&
        health.engineRunning &&
        health.engineResponsive &&
        !health.frameStalled,
    ) &&
    status.systems.filter(({ uiReady }) => uiReady).length >= 2 &&
    active_alerts(status).every(stands_for_long)
  );
}

// The alerts that were raised after this moment.
export async function mark() {
  const last = (await get_status()).protection.alerts.at(-1)?.id ?? 0;
  return (status) => status.protection.alerts.filter(({ id }) => id > last);
}
