// At most one dialog is open. The browser itself keeps everything behind it out of reach. Its
// element is the dimmed background; the box in it is what the operator sees.
const opened_dialog = () => document.querySelector('dialog[open]');

// A press that began inside and ended outside, as when text is marked, is no click on the
// background. One on header or banner reaches the dialog too, which covers neither.
function prepare_dialog(dialog, close) {
  let pressed_elsewhere = false;
  dialog.addEventListener('pointerdown', ({ target, clientY }) => {
    pressed_elsewhere = target !== dialog || clientY < dialog.getBoundingClientRect().top;
  });
  dialog.addEventListener('click', ({ target }) => {
    if (target === dialog && !pressed_elsewhere) close();
    pressed_elsewhere = false;
  });
  dialog.addEventListener('cancel', (event) => {
    event.preventDefault();
    close();
  });
  // A browser may close it without asking.
  dialog.addEventListener('close', () => {
    if (!dialog.open) close();
  });
}

let focus_before = null;

// No control has the focus at first: an Enter that is held down must not press it.
function show_dialog(dialog) {
  if (opened_dialog()) return;
  focus_before = document.activeElement;
  dialog.showModal();
  dialog.append(by_id('notices'));
  dialog.querySelector('.dialog').focus();
  for (const part of dialog.querySelectorAll('.scrolls')) part.scrollTop = 0;
}

// Notices outside an open dialog could be neither seen nor heard. The focus goes back to where it
// came from, or to the one button that is always there.
function hide_dialog(dialog) {
  if (!dialog.contains(by_id('notices'))) return;
  dialog.close();
  set_text(by_id('heardBanner'), ''); // the banner is heard itself again
  document.body.append(by_id('notices'));
  (focus_before.checkVisibility() ? focus_before : by_id('openSetup')).focus();
}
