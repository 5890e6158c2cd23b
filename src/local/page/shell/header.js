// The name alone is cut where room is short: the word behind it is what matters.
function show_badge_words({ role, id }, system, word) {
  const status = by_id(`${id}Status`);
  if (!status.firstElementChild) {
    const name = make('span', { className: 'badge-name' });
    status.replaceChildren(`${role}: `, name, ' ', make('span', { className: 'badge-word' }));
  }
  const [name, state_text] = status.children;
  set_text(name, label_of(system));
  set_text(state_text, word);
  name.style.setProperty('--beside', `${room_beside_name(role, word)}em`);
}

// Capitals are wider, and bold ones more so.
const room_beside_name = (role, word) => role.length * 0.6 + word.length * 0.78 + 1.2;

function render_badge(side) {
  const system = system_with_role(side.role);
  show_badge_words(side, system, state_word(system).toUpperCase());
  set_dot(by_id(`${side.id}Dot`), system?.uiReady, system?.online);
  const badge = by_id(`${side.id}Badge`);
  badge.classList.toggle('active', state.active === side.id);
  set_title(
    badge,
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

function show_sync({ value, dot, tooltip }) {
  set_text(by_id('syncStatus'), value);
  set_dot(by_id('syncDot'), dot === 'on', dot === 'warn');
  set_title(by_id('syncBadge'), tooltip);
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

function show_service_unavailable() {
  show_sync({
    value: 'Unavailable',
    dot: 'off',
    tooltip: 'Redundancy Control status service unavailable.',
  });
}

function render_header() {
  render_decks();
  sides.forEach(render_badge);
}
