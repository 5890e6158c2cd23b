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

async function act(request) {
  const reply = await fetch('/act', { method: 'POST', body: JSON.stringify(request) });
  const answer = await reply.json();
  show(answer);
  return answer.refused;
}

const seconds = (ms) => `${(ms / 1000).toFixed(1)} s`;
const clock = (ms) => new Date(ms).toLocaleTimeString();

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

function show_servers({ servers, program }) {
  for (const server of servers) {
    const { serial } = server;
    if (!parts.servers.has(serial)) parts.servers.set(serial, make_server(server));
    const part = parts.servers.get(serial);
    const on_air = program.onAir === serial;
    part.box.classList.toggle('on-air', on_air);
    show_text(part.role, server.role);
    show_text(part.air, on_air ? 'ON AIR' : '');
    show_text(part.outputs, `On its outputs: ${server.outputs}`);
    for (const { name, on } of server.troubles) {
      part.buttons.get(name).setAttribute('aria-pressed', String(on));
    }
  }
}

function show_audience({ servers, program }) {
  const on_air = servers.find(({ serial }) => serial === program.onAir);
  show_text(by_id('audienceSees'), on_air ? on_air.outputs : 'Nothing yet.');
  const why = on_air
    ? `${on_air.name} is on air, and your switcher has followed the commands.`
    : 'No server is on air. Make the two a pair first.';
  show_text(by_id('audienceWhy'), why);
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
  const strangers = program.strangers.join(', ');
  by_id('warning').hidden = !strangers;
  show_text(
    by_id('warning'),
    `This is no rehearsal: another server answers, ${strangers}. End it.`,
  );
}

function make_card({ title, about, steps }, scenario) {
  const part = {
    items: steps.map(() => element('li')),
    result: element('p', { className: 'result' }),
    refused: element('p', { className: 'refused', role: 'alert' }),
    button: element('button', { type: 'button', className: 'primary' }),
  };
  part.button.addEventListener('click', async () => {
    const request = part.plays ? { act: 'end' } : { act: 'begin', scenario };
    show_text(part.refused, await act(request));
  });
  const list = element('ol', {}, ...part.items);
  const heading = element('h3', { textContent: title });
  const text = element('p', { className: 'dim', textContent: about });
  const live = element('div', { ariaLive: 'polite' }, list, part.result);
  by_id('cards').append(
    element('div', { className: 'card' }, heading, text, live, part.refused, part.button),
  );
  return part;
}

const whose = { rehearsal: 'Rehearsal', program: 'Program', you: 'You' };

function show_card(card, part, run) {
  const took = run?.tookMs ?? [];
  part.plays = Boolean(run) && !run.over;
  card.steps.forEach(({ who, text }, index) => {
    const item = part.items[index];
    const done = index < took.length;
    const next = Boolean(run) && index === took.length;
    item.className = done ? 'done' : next ? 'next' : '';
    item.ariaCurrent = next ? 'step' : null;
    const time = done ? ` \u2713 ${seconds(took[index])}` : '';
    show_text(item, `${whose[who]}: ${text}${time}`);
  });
  show_text(part.result, run?.over ? `Done. You took ${seconds(run.reactionMs)}.` : '');
  show_text(part.button, part.plays ? 'Stop' : run ? 'Again' : 'Begin');
}

function show_scenarios({ scenarios, run }) {
  scenarios.forEach((card, index) => {
    parts.cards[index] ??= make_card(card, index);
    show_card(card, parts.cards[index], run?.scenario === index ? run : null);
  });
}

function show_received(list, messages) {
  const lines = messages.map(
    ({ timeMs, transport, text }) => `${clock(timeMs)} ${transport.toUpperCase()} ${text}`,
  );
  const shown = [...list.children].map(({ textContent }) => textContent);
  if (lines.join('\n') === shown.join('\n')) return;
  list.replaceChildren(...lines.map((textContent) => element('li', { textContent })));
}

function show(state) {
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
  try {
    show(await (await fetch('/state')).json());
  } catch {
    show_text(by_id('program'), 'The rehearsal has ended. Start it again.');
  }
  setTimeout(watch, period_ms);
}

by_id('forget').addEventListener('click', () => act({ act: 'forget' }));
watch();
