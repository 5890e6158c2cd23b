// Controls with their words, as the lists of rules and actions need them many times.
let fields_made = 0;

function make_field(words, control, tooltip) {
  fields_made += 1;
  Object.assign(control, { id: `vorField${fields_made}`, title: tooltip });
  const label = make('label', { htmlFor: control.id, textContent: words, title: tooltip });
  return make('div', { className: 'field' }, label, control);
}

function make_select(options, value) {
  const select = make('select');
  select.append(...options.map(([option, text]) => make_option(option, text, option === value)));
  return select;
}

function make_button(text, tooltip, act) {
  const button = make('button', { type: 'button', textContent: text, title: tooltip });
  button.addEventListener('click', act);
  return button;
}

const mode_options = [
  [0, 'Ignore'],
  [1, 'Alert only'],
  [2, 'Alert + failover'],
];

const block_properties = (name, label) => ({
  className: `vor-block ${name}`,
  role: 'group',
  ariaLabel: label,
  tabIndex: -1,
});

// The list is built again, so the focus has to be put back: on what was moved or added.
function focus_in_block(list, index, what) {
  list.children[index].querySelector(what).focus();
}

// Beside what is gone, and on no button: an Enter that is still held down must not press it.
function focus_block(list, index) {
  const blocks = list.children;
  (blocks[Math.min(index, blocks.length - 1)] ?? list).focus();
}
