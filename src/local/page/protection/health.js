// How a server is, in one word for its badge and in one line for the dialog. The first that holds.
const health_conditions = [
  {
    holds: (health) => !health || health.ageMs < 0,
    word: 'WAITING',
    line: 'Waiting for health',
  },
  {
    holds: (health, policy) => health.ageMs >= policy.lossMs,
    word: 'OFFLINE',
    line: 'Communication lost',
  },
  {
    holds: (health) => health.supported === false,
    word: 'HEALTH UNKNOWN',
    line: 'Health endpoint unavailable',
  },
  {
    holds: (health) => health.engineRunning === false,
    word: 'ENGINE STOPPED',
    line: 'Engine stopped',
  },
  {
    holds: (health) => health.engineResponsive === false,
    word: 'ENGINE UNRESPONSIVE',
    line: 'Engine unresponsive',
  },
  {
    holds: (health) => health.frameStalled,
    word: 'FRAME STALL',
    line: 'Frame progress stalled',
  },
  {
    holds: (health) => !health.telemetryAvailable,
    word: 'TELEMETRY UNKNOWN',
    line: 'Engine responding; frame telemetry unavailable',
  },
  {
    holds: () => true,
    word: 'READY',
    line: 'Engine responding; frames advancing',
  },
];

const condition_of = (health, policy) =>
  health_conditions.find(({ holds }) => holds(health, policy));

function health_of(system, protection) {
  return system && (protection.systems ?? []).find(({ serial }) => serial === system.serial);
}

// The side's end of every rule that calls for failover must be up.
function has_output_fault(side, health, { outputRules = [] }) {
  const up = new Set();
  for (const output of health.outputs ?? []) {
    if (output?.available === true && output.known !== false) up.add(output.id);
  }
  return outputRules.some((rule) => {
    const id = rule[`${side.id}Id`];
    return rule.mode === 2 && id && !up.has(id);
  });
}

function protection_word(side, system, protection) {
  const health = health_of(system, protection);
  const { word } = condition_of(health, protection.policy);
  const faulty = word === 'READY' && has_output_fault(side, health, protection.policy);
  return faulty ? 'PROTECTED OUTPUT FAULT' : word;
}

function render_protection_badges(protection) {
  for (const side of sides) {
    const system = system_with_role(side.role);
    if (!system) continue;
    const word = protection_word(side, system, protection);
    show_badge_words(side, system, word);
    set_dot(by_id(`${side.id}Dot`), word === 'READY', word !== 'OFFLINE');
  }
}
