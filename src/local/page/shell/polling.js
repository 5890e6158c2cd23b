let configureOpened = false;
const launchConfigure = new URLSearchParams(location.search).get('configure') === '1';

function render() {
  render_header();
  render_standby_sides();
  render_work_area();
  show_sync(sync_of_status());
}

async function refresh() {
  try {
    state = await get_status();
  } catch {
    show_service_unavailable();
    return;
  }
  render();
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
