// What a server is called, and how it is. A missing one has words too.
const sides = [
  { role: 'Main', id: 'main', card: 'standbyMain' },
  { role: 'Backup', id: 'backup', card: 'standbyBackup' },
];

const known_systems = () => state?.systems ?? [];

const system_with_role = (role) => known_systems().find((system) => system.role === role);

const ready_system_with_role = (role) =>
  known_systems().find((system) => system.role === role && system.uiReady);

function label_of(system) {
  if (!system) return 'Not configured';
  return system.workstation || system.serial || 'Elvantris';
}

function state_word(system) {
  if (system?.uiReady) return 'Ready';
  return system?.online ? 'Starting' : 'Offline';
}

// What the state means for the show: "good", "warn", "bad", or "none" where nothing is expected.
function state_health(system) {
  if (!system) return 'none';
  if (system.uiReady) return 'good';
  return system.online ? 'warn' : 'bad';
}

function detail_of(system) {
  if (!system) return 'Not configured';
  const place = system.address ? `${system.address}:${system.webPort} - ` : '';
  return place + state_word(system);
}
