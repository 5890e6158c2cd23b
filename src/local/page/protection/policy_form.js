const policy_conditions = [
  { key: 'server', label: 'Server communication lost' },
  { key: 'engine', label: 'Engine stopped or crashed' },
  { key: 'responsive', label: 'Engine unresponsive' },
  { key: 'frames', label: 'Engine channel frame progress stalled' },
  {
    key: 'sync',
    label: 'Backup show / asset synchronization (failover setting gates Backup readiness)',
    options: [...mode_options.slice(0, 2), [2, 'Require for Backup takeover']],
  },
  { key: 'clock', label: 'Engaged external clock lost / unlocked' },
  {
    key: 'resources',
    label: 'Sustained resource pressure (warning only)',
    options: mode_options.slice(0, 2),
  },
];

const policy_delays = [
  { key: 'lossMs', id: 'vorLossMs' },
  { key: 'stallMs', id: 'vorStallMs' },
  { key: 'outputMs', id: 'vorOutputMs' },
  { key: 'startupMs', id: 'vorStartupMs' },
];

function make_condition_field({ key, label, options = mode_options }) {
  const select = make_select(options, vorDraft[key]);
  select.dataset.key = key;
  return make_field(label, select, `What to do about: ${label}.`);
}

function fill_policy_form() {
  by_id('vorModes').replaceChildren(...policy_conditions.map(make_condition_field));
  for (const { key, id } of policy_delays) by_id(id).value = vorDraft[key];
  by_id('vorAudible').checked = vorDraft.audible;
}

function collect_policy_form() {
  for (const select of by_id('vorModes').querySelectorAll('select')) {
    vorDraft[select.dataset.key] = Number(select.value);
  }
  for (const { key, id } of policy_delays) vorDraft[key] = Number(by_id(id).value);
  vorDraft.audible = by_id('vorAudible').checked;
}
