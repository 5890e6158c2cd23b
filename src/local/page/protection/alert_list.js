const local_time = new Intl.DateTimeFormat(undefined, {
  year: 'numeric',
  month: 'numeric',
  day: 'numeric',
  hour: 'numeric',
  minute: 'numeric',
  second: 'numeric',
});

function alert_word({ active, acknowledged }) {
  if (!active) return 'RECOVERED';
  return acknowledged ? 'ACTIVE / ACKNOWLEDGED' : 'ACTIVE';
}

function alert_times({ started, recovered }) {
  const end = recovered ? ` - recovered ${local_time.format(recovered)}` : '';
  return local_time.format(started) + end;
}

function make_alert(alert) {
  const entry = make(
    'div',
    { className: alert.active ? 'vor-alert' : 'vor-alert recovered' },
    make('b', { textContent: alert_word(alert) }),
    ' ',
    make('span', { textContent: alert.message }),
    make('small', { textContent: alert_times(alert) }),
  );
  entry.dataset.severity = alert.severity;
  entry.dataset.waiting = Boolean(alert.active && !alert.acknowledged);
  return entry;
}

// The list's elements, by alert: only what has changed is made again.
let shown_alerts = new Map();

function alert_entry(alert, key) {
  const text = JSON.stringify(alert);
  const shown = shown_alerts.get(key);
  return shown?.text === text ? shown : { text, element: make_alert(alert) };
}

// Elements that stay are not touched: laying out hundreds of them takes longer than all the rest.
function show_in_order(list, elements) {
  const wanted = new Set(elements);
  for (const element of [...list.childNodes]) if (!wanted.has(element)) element.remove();
  let next = list.firstChild;
  for (const element of elements) {
    if (element === next) next = next.nextSibling;
    else list.insertBefore(element, next);
  }
}

// By id, and by how often it stood before.
function keys_of(alerts) {
  const counts = new Map();
  return alerts.map(({ id }) => {
    const count = counts.get(id) ?? 0;
    counts.set(id, count + 1);
    return `${id} ${count}`;
  });
}

function render_alert_list({ alerts = [] }) {
  const list = by_id('vorAlertList');
  const keys = keys_of(alerts);
  shown_alerts = new Map(
    alerts.map((alert, index) => [keys[index], alert_entry(alert, keys[index])]),
  );
  if (alerts.length === 0) {
    set_text(
      list,
      'No alerts in this VOR session. Fault/recovery history is also retained in the ' +
        'workstation log.',
    );
  } else
    show_in_order(
      list,
      [...shown_alerts.values()].reverse().map(({ element }) => element),
    );
}
