let configureOpened = false;
const launchConfigure = new URLSearchParams(location.search).get('configure') === '1';

function render() {
  render_header();
  render_standby_sides();
  render_work_area();
  show_sync(sync_of_status());
}

// A status that can't be shown is none: what stood before stays.
function show_status(status) {
  const before = state;
  state = status;
  try {
    render();
  } catch (error) {
    state = before;
    throw error;
  }
  hear_active(before, state);
  const heard = by_id('heardActive');
  if (heard.textContent === service_unavailable) set_text(heard, '');
}

let polls_sent = 0;
let newest_shown = 0;
// When the first poll was sent that has heard nothing, with no status since; null for none.
let unanswered_since = null;

// What went wrong, if anything did.
async function refresh() {
  polls_sent += 1;
  const poll = polls_sent;
  unanswered_since ??= performance.now();
  try {
    show_status(await get_status());
    newest_shown = Math.max(newest_shown, poll);
    unanswered_since = null;
  } catch (error) {
    // What a later poll has brought is true all the same.
    if (poll > newest_shown) show_service_unavailable();
    return error;
  }
  fill_unread_setup();
  if (launchConfigure && !configureOpened) {
    configureOpened = true;
    open_setup();
  }
  return undefined;
}

const poll_interval_ms = 500;
const longest_silence_ms = 900;

// A program that hangs refuses nothing, and its last status still looks well. Two intervals without
// an answer are enough; a status that comes later shows again. The API answers one request after
// the other, so nothing is known of it until a post of our own has its reply.
function poll() {
  if (posts_pending > 0 && unanswered_since !== null) unanswered_since = performance.now();
  const silent = unanswered_since !== null && performance.now() - unanswered_since;
  if (state && silent > longest_silence_ms) show_service_unavailable();
  refresh();
}

// The rest of the document has its say in `render` too.
document.addEventListener('DOMContentLoaded', () => {
  refresh();
  setInterval(poll, poll_interval_ms);
});
