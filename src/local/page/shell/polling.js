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
}

let polls_sent = 0;
let newest_shown = 0;

async function refresh() {
  polls_sent += 1;
  const poll = polls_sent;
  try {
    show_status(await get_status());
    newest_shown = Math.max(newest_shown, poll);
  } catch {
    // What a later poll has brought is true all the same.
    if (poll > newest_shown) show_service_unavailable();
    return;
  }
  if (launchConfigure && !configureOpened) {
    configureOpened = true;
    open_setup();
  }
}

// The rest of the document has its say in `render` too.
document.addEventListener('DOMContentLoaded', () => {
  refresh();
  setInterval(refresh, 500);
});
