// The whole document, so that the header stays in view above the frame.
const fullscreen_element = () => document.fullscreenElement || document.webkitFullscreenElement;

async function toggle_fullscreen() {
  const page = document.documentElement;
  const enter = page.requestFullscreen || page.webkitRequestFullscreen || page.msRequestFullscreen;
  const leave =
    document.exitFullscreen || document.webkitExitFullscreen || document.msExitFullscreen;
  try {
    await (fullscreen_element() ? leave.call(document) : enter.call(page));
  } catch {
    // The browser may refuse, and the page is as usable without.
  }
}

function render_fullscreen_button() {
  const button = by_id('shellFullscreenButton');
  const inside = Boolean(fullscreen_element());
  button.title = inside
    ? 'Exit fullscreen and return the Redundancy Control shell to its browser window.'
    : 'Enter fullscreen while keeping the Redundancy Control status header visible.';
  const act = inside ? 'Exit' : 'Enter';
  button.setAttribute('aria-label', `${act} Redundancy Control fullscreen`);
  button.classList.toggle('inside', inside);
}

by_id('shellFullscreenButton').addEventListener('click', toggle_fullscreen);
for (const change of ['fullscreenchange', 'webkitfullscreenchange', 'MSFullscreenChange']) {
  document.addEventListener(change, render_fullscreen_button);
}
