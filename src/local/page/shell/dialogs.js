// At most one dialog is open; everything behind it is out of reach until it closes.
let open_background = null;
let focus_before = null;

// A press that began inside and ended outside, as when text is marked, is no click on the
// background.
function prepare_dialog(background, close) {
  let pressed_inside = false;
  background.close_dialog = close;
  background.addEventListener('pointerdown', ({ target }) => {
    pressed_inside = target !== background;
  });
  background.addEventListener('click', ({ target }) => {
    if (target === background && !pressed_inside) close();
    pressed_inside = false;
  });
}

function show_dialog(background) {
  if (open_background === background) return;
  open_background = background;
  focus_before = document.activeElement;
  background.hidden = false;
  by_id('shell').inert = true;
  background.querySelector('.dialog').focus();
  background.querySelector('.dialog-body').scrollTop = 0;
}

function hide_dialog(background) {
  if (open_background !== background) return;
  open_background = null;
  background.hidden = true;
  by_id('shell').inert = false;
  focus_before?.focus();
}

const reachable_by_keyboard = 'button, input, select, textarea, [tabindex="0"]';

// Only the step over either end is ours; the dialog itself stands before its first control.
function keep_focus_inside(event) {
  const controls = [...open_background.querySelectorAll(reachable_by_keyboard)];
  const focused = document.activeElement;
  const leaves = event.shiftKey
    ? focused === controls[0] || !controls.includes(focused)
    : focused === controls.at(-1);
  if (!leaves && open_background.contains(focused)) return;
  event.preventDefault();
  controls.at(event.shiftKey ? -1 : 0).focus();
}

document.addEventListener('keydown', (event) => {
  if (!open_background) return;
  if (event.key === 'Escape') open_background.close_dialog();
  else if (event.key === 'Tab') keep_focus_inside(event);
});
