// How a server is, in one word for its badge and in one line for the dialog. The first that holds.
// What makes a server unfit is bad; what nobody knows is only a warning.
const health_conditions = [
  {
    holds: (health) => !health || health.ageMs < 0,
    word: 'WAITING',
    health: 'warn',
    line: 'Waiting for health',
  },
  {
    holds: (health, policy) => health.ageMs >= policy.lossMs,
    word: 'OFFLINE',
    health: 'bad',
    line: 'Communication lost',
  },
  {
    holds: (health) => health.supported === false,
    word: 'HEALTH UNKNOWN',
    health: 'warn',
    line: 'Health endpoint unavailable',
  },
  {
    holds: (health) => health.engineRunning === false,
    word: 'ENGINE STOPPED',
    health: 'bad',
    line: 'Engine stopped',
  },
  {
    holds: (health) => health.engineResponsive === false,
    word: 'ENGINE UNRESPONSIVE',
    health: 'bad',
    line: 'Engine unresponsive',
  },
  {
    holds: (health) => health.frameStalled,
    word: 'FRAME STALL',
    health: 'bad',
    line: 'Frame progress stalled',
  },
  {
    holds: (health) => health.telemetryAvailable === false,
    word: 'TELEMETRY UNKNOWN',
    health: 'warn',
    line: 'Engine responding; frame telemetry unavailable',
  },
  {
    holds: (health) => !health.telemetryAvailable,
    word: 'READY',
    health: 'good',
    line: 'Engine responding; frame telemetry unavailable',
  },
  {
    holds: () => true,
    word: 'READY',
    health: 'good',
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

// With what its protected outputs add to it: another word, but no line of their own.
function badge_condition(side, system, protection) {
  const health = health_of(system, protection);
  const condition = condition_of(health, protection.policy);
  const faulty = condition.word === 'READY' && has_output_fault(side, health, protection.policy);
  return faulty ? { ...condition, word: 'PROTECTED OUTPUT FAULT', health: 'bad' } : condition;
}

function render_protection_badges(protection) {
  for (const side of sides) {
    const system = system_with_role(side.role);
    if (!system) continue;
    const { word, health } = badge_condition(side, system, protection);
    show_badge(side, system, word, health);
    set_dot(by_id(`${side.id}Dot`), word === 'READY', word !== 'OFFLINE');
  }
}
