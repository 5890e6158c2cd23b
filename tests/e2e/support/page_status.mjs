// Statuses as the program composes them, for states that are hard to bring about for real.
export const main = (changes) => ({
  serial: 'SER-A',
  workstation: 'Stage left',
  address: '10.77.0.11',
  webPort: 5000,
  controlPort: 1256,
  role: 'Main',
  backupForSerial: '',
  online: true,
  uiReady: true,
  replicationEnabled: true,
  replicationRole: 'Main',
  replicationRevision: 12,
  replicationAppliedRevision: 12,
  replicationPendingMedia: 0,
  replicationEventTitle: 'Evening show',
  replicationLastError: '',
  ...changes,
});

export const backup = (changes) =>
  main({
    serial: 'SER-B',
    workstation: 'Stage right',
    address: '10.77.0.12',
    role: 'Backup',
    backupForSerial: 'SER-A',
    replicationRole: 'Backup',
    ...changes,
  });

export const offline = { online: false, uiReady: false };
export const starting = { online: true, uiReady: false };

export const policy = (changes) => ({
  armed: true,
  audible: false,
  lossMs: 1000,
  stallMs: 1500,
  outputMs: 1000,
  startupMs: 5000,
  server: 2,
  engine: 2,
  responsive: 2,
  frames: 2,
  sync: 1,
  clock: 1,
  resources: 1,
  outputRules: [],
  actions: [],
  ...changes,
});

export const action = (changes) => ({
  name: 'Router',
  event: 'backup',
  host: '10.77.0.20',
  port: 7000,
  transport: 'TCP',
  payload: 'TAKE 2\\r',
  delayMs: 0,
  timeoutMs: 1000,
  retries: 0,
  enabled: true,
  ...changes,
});

export const output = (id, changes) => ({ id, name: id, available: true, known: true, ...changes });

export const health = (serial, changes) => ({
  serial,
  ageMs: 40,
  supported: true,
  engineRunning: true,
  engineResponsive: true,
  telemetryAvailable: true,
  frameStalled: false,
  outputs: [output('out-1'), output('out-2')],
  ...changes,
});

export const alert = (id, changes) => ({
  id,
  message: 'Main: Engine stopped or exited.',
  severity: 'critical',
  started: Date.UTC(2025, 4, 17, 19, 30, id % 60),
  recovered: 0,
  active: true,
  acknowledged: false,
  ...changes,
});

export const protection = (changes) => ({
  policy: policy(),
  armed: true,
  heldOnBackup: false,
  actionsBusy: false,
  lastAction: '',
  systems: [health('SER-A'), health('SER-B')],
  alerts: [],
  ...changes,
});

// A healthy pair, Main active.
export const status = (changes) => ({
  enabled: true,
  controllerConfigured: true,
  uiPort: 5270,
  runtimeUiPort: 5270,
  openBrowserOnStart: true,
  systems: [main(), backup()],
  sharedFunctionIds: [1, 2, 3],
  policySynchronized: true,
  policySyncMessage: 'Main event pairing is synchronized.',
  active: 'main',
  activeSerial: 'SER-A',
  streamDeckCount: 2,
  streamDecks: [],
  protection: protection(),
  configPath: '/home/operator/operator-control.json',
  ...changes,
});

// What would be seen at work if it were taken for markup.
export const hostile = `<img src=x onerror="document.title='taken'">&amp;"'`;

export const nothing_active = { active: 'none', activeSerial: '' };
