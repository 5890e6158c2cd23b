// What is heard, and what is seen although its place has gone.
const service_unavailable = 'Redundancy Control status service unavailable.';

const active_names = { main: 'Main', backup: 'Backup', independent: 'Independent' };

// From one side to the other is what nobody may miss; a server that goes or comes can wait for the
// end of a sentence.
function hear_active(before, after) {
  if (!before || before.active === after.active) return;
  const [from, to] = [before, after].map(({ active }) => active_names[active]);
  const transfer = from && to;
  const change = to ? `${to} is now active.` : 'No server is active.';
  set_text(by_id('heardTransfer'), transfer ? `${to} is now active instead of ${from}.` : '');
  set_text(by_id('heardActive'), transfer ? '' : change);
}

let late_result_ends = 0;

// Of a post whose dialog has been closed since. A failure is given more time to be noticed.
function show_late_result(text, kind) {
  clearTimeout(late_result_ends);
  show_message(by_id('lateResult'), text, `late ${kind}`);
  set_text(by_id('heardActive'), text);
  const ms = kind === 'danger' ? 60000 : 10000;
  late_result_ends = setTimeout(() => show_message(by_id('lateResult'), '', 'late'), ms);
}
