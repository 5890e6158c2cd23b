// The word is the largest text; the name before it is cut where room is short.
function show_badge({ role, id }, system, word, health) {
  const status = by_id(`${id}Status`);
  if (!status.firstElementChild) {
    const name = make('span', { className: 'badge-name' });
    const who = make('span', { className: 'badge-who' }, `${role}: `, name);
    status.replaceChildren(who, ' ', make('span', { className: 'badge-word' }));
  }
  const [who, state_text] = status.children;
  set_text(who.lastChild, label_of(system));
  set_text(state_text, word);
  state_text.style.setProperty('--letters', word.length);
  by_id(`${id}Badge`).dataset.health = health;
}

// An active server that is lost is still the one on air.
function mark_active({ id }) {
  const badge = by_id(`${id}Badge`);
  const active = state.active === id;
  badge.classList.toggle('active', active);
  if (active) badge.setAttribute('aria-current', 'true');
  else badge.removeAttribute('aria-current');
}

function render_badge(side) {
  const system = system_with_role(side.role);
  show_badge(side, system, state_word(system).toUpperCase(), state_health(system));
  set_dot(by_id(`${side.id}Dot`), system?.uiReady, system?.online);
  mark_active(side);
  set_title(
    by_id(`${side.id}Badge`),
    system
      ? `${side.role} system: ${label_of(system)}. ${detail_of(system)}.`
      : `No ${side.role} system is currently configured.`,
  );
}

function render_decks() {
  const count = state.streamDeckCount ?? 0;
  set_text(by_id('deckStatus'), String(count));
  const consoles = count === 1 ? 'console is' : 'consoles are';
  set_title(
    by_id('deckBadge'),
    `${count} physical Stream Deck ${consoles} connected and owned by ` +
      'Elvantris Redundancy Control.',
  );
}

function show_sync({ value, dot, tooltip, blind = false }) {
  set_text(by_id('syncStatus'), value);
  set_dot(by_id('syncDot'), dot === 'on', dot === 'warn');
  const chip = by_id('syncBadge');
  set_title(chip, tooltip);
  chip.classList.toggle('blind', blind);
}

function replication_sync(main, backup) {
  const main_revision = main.replicationRevision ?? 0;
  const backup_revision = backup.replicationAppliedRevision ?? 0;
  const media = backup.replicationPendingMedia ?? 0;
  if (main_revision > 0 && backup_revision === main_revision && media === 0) {
    return {
      value: `In Sync · Rev ${main_revision}`,
      dot: 'on',
      tooltip: `Main and Backup show state are synchronized at revision ${main_revision}.`,
    };
  }
  const waiting = media === 0 ? '' : ` · Media ${media}`;
  const pending = media === 0 ? '' : `, pending media ${media}`;
  return {
    value: `Syncing · ${backup_revision}/${main_revision}${waiting}`,
    dot: 'warn',
    tooltip:
      `Synchronizing show state - Main revision ${main_revision}` +
      `, Backup revision ${backup_revision}${pending}.`,
  };
}

const backup_active = {
  value: 'Backup Active',
  dot: 'warn',
  tooltip: 'Operating on Backup - Main UI unavailable.',
};

function sync_of_status() {
  const main = ready_system_with_role('Main');
  const backup = ready_system_with_role('Backup');
  if (state.enabled === false) {
    return { value: 'Disabled', dot: 'off', tooltip: 'Redundancy is not enabled.' };
  }
  if (state.active === 'backup') return backup_active;
  if (state.policySynchronized === false) {
    const waiting = 'Pairing saved locally; waiting to synchronize with Main.';
    return { value: 'Pairing Pending', dot: 'warn', tooltip: state.policySyncMessage || waiting };
  }
  if (main && backup) return replication_sync(main, backup);
  if (main) {
    const tooltip = 'Redundancy degraded - Backup UI unavailable.';
    return { value: 'Backup Offline', dot: 'warn', tooltip };
  }
  if (backup) return backup_active;
  return { value: 'Unavailable', dot: 'off', tooltip: 'Both configured systems are unavailable.' };
}

// All that a status has coloured loses its colours as long as the chip is blind.
function show_service_unavailable() {
  show_sync({
    blind: true,
    value: 'Unavailable',
    dot: 'off',
    tooltip: service_unavailable,
  });
  set_text(by_id('heardActive'), service_unavailable);
}

function render_header() {
  render_decks();
  sides.forEach(render_badge);
}
