const commandDefs = [
  { id: 1, title: 'PadGrid Load Deck' },
  { id: 2, title: 'PadGrid Play Column' },
  { id: 3, title: 'PadGrid Stop' },
  { id: 4, title: 'PadGrid Next' },
  { id: 5, title: 'PadGrid Previous' },
  { id: 6, title: 'Load Timeline' },
  { id: 7, title: 'Start Timeline' },
  { id: 8, title: 'Pause Timeline' },
  { id: 9, title: 'Stop Timeline' },
  { id: 10, title: 'Timeline GOTO 60' },
  { id: 11, title: 'Timeline GOTO 30' },
  { id: 12, title: 'Timeline GOTO 10' },
  { id: 13, title: 'Next Placemark' },
  { id: 14, title: 'Previous Placemark' },
  { id: 15, title: 'Mute Pixel Space' },
  { id: 16, title: 'Mute Track' },
  { id: 17, title: 'Hide Track' },
  { id: 24, title: 'Timeline Breakout' },
  { id: 25, title: 'Play Background' },
  { id: 26, title: 'Clear Background' },
  { id: 27, title: 'Toggle Background Audio' },
  { id: 28, title: 'Hide / Restore Screens' },
  { id: 29, title: 'Clear All Layers' },
];
const recommendedIds = commandDefs.map(({ id }) => id);

function make_command_box({ id, title }, checked) {
  const tooltip = `Mirror ${title} to the Backup system when redundancy is enabled.`;
  const box = make('input', { type: 'checkbox', className: 'cmdCheck', value: id, checked });
  box.title = tooltip;
  return make('label', { className: 'check', title: tooltip }, box, ` ${title}`);
}

function fill_commands(ids) {
  const boxes = commandDefs.map((command) => make_command_box(command, ids.includes(command.id)));
  by_id('commands').replaceChildren(...boxes);
}

const command_boxes = () => [...document.querySelectorAll('.cmdCheck')];

function check_commands(ids) {
  for (const box of command_boxes()) box.checked = ids.includes(Number(box.value));
}

const checked_commands = () =>
  command_boxes()
    .filter(({ checked }) => checked)
    .map(({ value }) => Number(value));
