function make_banner() {
  const text = make('p', { className: 'vor-banner-text', role: 'status' });
  const button = make('button', {
    type: 'button',
    className: 'bar-button',
    textContent: 'Health & Alerts',
    title: 'Open health, protection and external actions.',
  });
  button.addEventListener('click', open_protection);
  const place = { id: 'vorBanner', className: 'vor-banner', ariaLabel: 'Protection' };
  const banner = make('section', place, text, button);
  by_id('workArea').before(banner);
  return banner;
}

function banner_notes(protection, alerts) {
  const notes = [];
  if (state.enabled === false) notes.push('Pair disabled');
  else if (protection.heldOnBackup) notes.push('Backup held active');
  notes.push(`${alerts.length} active alert${alerts.length === 1 ? '' : 's'}`);
  if (alerts.length > 0) notes.push(alerts[0].message);
  return notes.map((note) => ` · ${note}`).join('');
}

function render_banner(protection, alerts) {
  const banner = by_id('vorBanner') ?? make_banner();
  set_class(banner, alerts.length > 0 ? 'vor-banner fault' : 'vor-banner');
  banner.dataset.armed = protection.armed;
  banner.dataset.held = state.enabled !== false && Boolean(protection.heldOnBackup);
  const armed = protection.armed ? 'PROTECTION ARMED' : 'AUTO FAILOVER DISARMED';
  const notes = banner_notes(protection, alerts);
  const text = banner.firstElementChild;
  if (text.textContent === armed + notes) return;
  text.replaceChildren(make('b', { textContent: armed }), notes);
  text.title = armed + notes;
  // Behind an open dialog nothing is heard.
  set_text(by_id('heardBanner'), opened_dialog() ? armed + notes : '');
}
