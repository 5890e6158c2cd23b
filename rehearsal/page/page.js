const by_id = (id) => document.getElementById(id);
const period_ms = 250;

function element(name, properties, ...children) {
  const made = Object.assign(document.createElement(name), properties);
  made.append(...children);
  return made;
}

// Changes only what differs, so that a reader's focus and selection stay.
function show_text(node, text) {
  if (node.textContent !== text) node.textContent = text;
}

// Shows the state that comes back; null if the rehearsal has ended.
async function ask(path, details) {
  let answer = null;
  try {
    answer = await (await fetch(path, details)).json();
  } catch {
    show_end();
    return null;
  }
  show(answer);
  return answer;
}

async function act(request) {
  const answer = await ask('/act', { method: 'POST', body: JSON.stringify(request) });
  return answer?.refused ?? '';
}

const seconds = (ms) => `${(ms / 1000).toFixed(1)} s`;
const clock = (ms) => new Date(ms).toLocaleTimeString();

const whose = { rehearsal: 'Rehearsal', program: 'Program', you: 'You' };

// The parts that are made once, by what they show.
const parts = { servers: new Map(), cards: [] };

function make_server({ serial, name, troubles }) {
  const part = {
    role: element('span', { className: 'role' }),
    air: element('span', { className: 'air' }),
    outputs: element('p', { className: 'outputs' }),
    buttons: new Map(),
  };
  const switches = element('div', { className: 'troubles' });
  for (const { name: trouble, words } of troubles) {
    const button = element('button', { type: 'button', textContent: words });
    button.addEventListener('click', () => {
      const on = button.getAttribute('aria-pressed') !== 'true';
      act({ act: 'trouble', serial, trouble, on });
    });
    part.buttons.set(trouble, button);
    switches.append(button);
  }
  const head = element('header', {}, element('h2', { textContent: name }), part.role, part.air);
  part.box = element('div', { className: 'server', id: serial }, head, part.outputs, switches);
  by_id('servers').append(part.box);
  return part;
}

function show_servers({ servers, onAir }) {
  for (const server of servers) {
    const { serial } = server;
    if (!parts.servers.has(serial)) parts.servers.set(serial, make_server(server));
    const part = parts.servers.get(serial);
    const on_air = onAir === serial;
    part.box.classList.toggle('on-air', on_air);
    show_text(part.role, server.role);
    show_text(part.air, on_air ? 'ON AIR' : '');
    show_text(part.outputs, `On its outputs: ${server.outputs}`);
    for (const { name, on } of server.troubles) {
      part.buttons.get(name).setAttribute('aria-pressed', String(on));
    }
  }
}

function reason_of_picture(on_air, program) {
  if (!on_air) return 'No server is on air. Make the two a pair first.';
  const stayed = `your switcher stays where it was (${on_air.name}).`;
  if (!program.answers) return `Redundancy Control has ended; ${stayed}`;
  if (program.active !== on_air.serial) return `The pair has no active server; ${stayed}`;
  return `${on_air.name} is on air, and your switcher has followed the commands.`;
}

function show_audience({ servers, program, onAir }) {
  const on_air = servers.find(({ serial }) => serial === onAir);
  show_text(by_id('audienceSees'), on_air ? on_air.outputs : 'Nothing yet.');
  show_text(by_id('audienceWhy'), reason_of_picture(on_air, program));
}

function show_program({ program }) {
  const words = [];
  if (!program.answers) words.push("Redundancy Control doesn't run on this computer. Start it.");
  else if (!program.enabled) words.push('Redundancy Control runs and has no pair yet.');
  else words.push(program.armed ? 'Armed' : 'Disarmed', program.held ? 'held on Backup' : '');
  show_text(by_id('program'), words.filter(Boolean).join(', '));
  const link = by_id('operatorPage');
  link.hidden = !program.answers;
  link.href = `http://127.0.0.1:${program.pagePort}/`;
  show_warning(program);
}

function show_warning({ warning, strangers }) {
  const mixed = `This is no rehearsal: another server answers, ${strangers.join(', ')}. End it.`;
  const text = [warning, strangers.length > 0 ? mixed : ''].filter(Boolean).join(' ');
  by_id('warning').hidden = !text;
  show_text(by_id('warning'), text);
}

// The tick and its time stay together at the end of a line.
function make_item({ who, text }) {
  const time = element('span', { className: 'time' });
  return { line: element('li', {}, `${whose[who]}: ${text} `, time), time };
}

function make_card({ title, about, steps }, scenario) {
  const part = {
    items: steps.map(make_item),
    result: element('p', { className: 'result' }),
    refused: element('p', { className: 'refused', role: 'alert' }),
    button: element('button', { type: 'button', className: 'primary' }),
  };
  part.button.addEventListener('click', async () => {
    const request = part.plays ? { act: 'end' } : { act: 'begin', scenario };
    const refused = await act(request);
    part.was_refused = refused !== '';
    show_text(part.refused, refused);
  });
  const list = element('ol', {}, ...part.items.map(({ line }) => line));
  const heading = element('h3', { textContent: title });
  const text = element('p', { className: 'dim', textContent: about });
  const live = element('div', { ariaLive: 'polite' }, list, part.result);
  by_id('cards').append(
    element('div', { className: 'card' }, heading, text, live, part.refused, part.button),
  );
  return part;
}

function result_of(run) {
  if (!run?.over) return '';
  if (run.whyEnded) return run.whyEnded;
  return run.reactionMs > 0 ? `Done. You took ${seconds(run.reactionMs)}.` : 'Done.';
}

function show_steps(part, run) {
  const took = run?.tookMs ?? [];
  part.items.forEach(({ line, time }, index) => {
    const done = index < took.length;
    const next = part.plays && index === took.length;
    line.className = done ? 'done' : next ? 'next' : '';
    line.ariaCurrent = next ? 'step' : null;
    show_text(time, done ? `\u2713 ${seconds(took[index])}` : '');
  });
}

function show_card({ whyNot }, part, run) {
  part.plays = Boolean(run) && !run.over;
  // A refusal stays as long as it is true, and says what is missing now.
  part.was_refused = part.was_refused && !part.plays && whyNot !== '';
  show_text(part.refused, part.was_refused ? whyNot : '');
  show_steps(part, run);
  show_text(part.result, result_of(run));
  part.result.classList.toggle('early', Boolean(run?.whyEnded));
  show_text(part.button, part.plays ? 'Stop' : run && !run.whyEnded ? 'Again' : 'Begin');
}

function show_scenarios({ scenarios, run }) {
  scenarios.forEach((card, index) => {
    parts.cards[index] ??= make_card(card, index);
    show_card(card, parts.cards[index], run?.scenario === index ? run : null);
  });
}

const hex = (byte) => `\\x${byte.toString(16).toUpperCase().padStart(2, '0')}`;
const escapes = { '\r': '\\r', '\n': '\\n', '\t': '\\t', '\\': '\\\\' };
const escape = (character) =>
  escapes[character] ?? [...new TextEncoder().encode(character)].map(hex).join('');

// As one would type it into the program's field for a command.
function typed_form(base64) {
  const bytes = Uint8Array.from(atob(base64), (one) => one.charCodeAt(0));
  try {
    const text = new TextDecoder('utf-8', { fatal: true, ignoreBOM: true }).decode(bytes);
    return text.replace(/[\\\p{C}\p{Zl}\p{Zp}]/gu, escape);
  } catch {
    const printable = (byte) => byte >= 0x20 && byte < 0x7f;
    const form = (byte) => {
      const character = String.fromCharCode(byte);
      return escapes[character] ?? (printable(byte) ? character : hex(byte));
    };
    return [...bytes].map(form).join('');
  }
}

function show_received(list, messages) {
  const lines = messages.map(
    ({ timeMs, transport, bytesBase64 }) =>
      `${clock(timeMs)} ${transport.toUpperCase()} ${typed_form(bytesBase64)}`,
  );
  const shown = [...list.children].map(({ textContent }) => textContent);
  if (lines.join('\n') === shown.join('\n')) return;
  list.replaceChildren(...lines.map((textContent) => element('li', { textContent })));
}

function set_ended(ended) {
  if (document.body.classList.contains('ended') === ended) return;
  document.body.classList.toggle('ended', ended);
  for (const button of document.querySelectorAll('main button')) button.disabled = ended;
}

function show_end() {
  set_ended(true);
  by_id('operatorPage').hidden = true;
  by_id('warning').hidden = true;
  show_text(by_id('program'), 'The rehearsal has ended. Start it again.');
}

function show(state) {
  set_ended(false);
  show_program(state);
  show_audience(state);
  show_servers(state);
  show_scenarios(state);
  show_text(by_id('deviceTitle'), `The device at ${state.devicePlace}`);
  show_text(by_id('commandsNote'), state.commandsNote);
  show_received(by_id('device'), state.device);
  show_received(by_id('commands'), state.commands);
}

async function watch() {
  await ask('/state');
  setTimeout(watch, period_ms);
}

by_id('forget').addEventListener('click', () => act({ act: 'forget' }));
watch();
