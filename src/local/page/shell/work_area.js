// The active server's own interface, or a card for as long as no server can be shown.
let lastActiveKey = '';

function active_system() {
  if (!['main', 'backup', 'independent'].includes(state.active)) return undefined;
  return known_systems().find(({ serial }) => serial === state.activeSerial);
}

function frame_source({ address, webPort }) {
  const role = encodeURIComponent(state.active);
  const place = `http://${address}:${webPort}/?operatorControl=1&operatorControlRole=${role}`;
  return `${address ? place : ''}&t=${Date.now()}`;
}

// Only another server, place or role loads the frame; a poll alone never does.
function point_frame_at(system) {
  const frame = by_id('elvantrisUi');
  const key = [system.serial, system.address, system.webPort, state.active].join('|');
  if (key === lastActiveKey && frame.hasAttribute('src')) return;
  frame.src = frame_source(system);
  lastActiveKey = key;
}

function standby_words() {
  const main = system_with_role('Main');
  const backup = system_with_role('Backup');
  if (state.controllerConfigured === false) {
    return {
      title: 'Elvantris Redundancy Control is ready',
      text: 'Discover the Elvantris systems and choose a Main and Backup.',
    };
  }
  if (state.enabled && main && backup && !main.uiReady && !backup.uiReady) {
    return {
      title: 'Waiting for Elvantris',
      text:
        'The configured systems have been discovered, but neither web application has passed ' +
        'its identity check yet.',
    };
  }
  if (state.enabled === false) {
    return {
      title: 'Redundancy is disabled',
      text:
        'The saved system pairing is retained. Enable live Main / Backup operation when ' +
        'needed.',
    };
  }
  return {
    title: 'Elvantris Redundancy Control is ready',
    text: 'Waiting for an Elvantris system to become available.',
  };
}

function render_standby_sides() {
  for (const { role, card } of sides) {
    const system = system_with_role(role);
    const name = by_id(card);
    set_text(name, label_of(system));
    set_title(name, label_of(system));
    set_text(by_id(`${card}Addr`), detail_of(system));
  }
}

function render_work_area() {
  const system = active_system();
  by_id('standby').hidden = Boolean(system);
  by_id('elvantrisUi').hidden = !system;
  if (system) {
    point_frame_at(system);
    return;
  }
  lastActiveKey = '';
  const { title, text } = standby_words();
  set_text(by_id('standbyTitle'), title);
  set_text(by_id('standbyText'), text);
}
