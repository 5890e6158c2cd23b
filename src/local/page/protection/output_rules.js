function outputs_of(side) {
  const health = health_of(system_with_role(side.role), state.protection ?? {});
  return (health?.outputs ?? []).filter((output) => output?.id);
}

const mark_unavailable = (text) => `${text} (unavailable)`;

// A rule for an output that is gone keeps its value.
function output_options(side, selected_id) {
  const outputs = outputs_of(side);
  const gone = selected_id && !outputs.some(({ id }) => id === selected_id);
  return [
    ['', 'Select output...'],
    ...(gone ? [[selected_id, mark_unavailable(selected_id)]] : []),
    ...outputs.map(({ id, name, available }) => {
      const text = String(name || id);
      return [id, available ? text : mark_unavailable(text)];
    }),
  ];
}

function make_output_select(side, key, selected_id) {
  const select = make_select(output_options(side, selected_id), selected_id);
  select.dataset.key = key;
  return select;
}

function make_rule_block(rule, index) {
  const [main, backup] = sides;
  const mode = make_select(mode_options, rule.mode);
  mode.dataset.key = 'mode';
  const block = make(
    'div',
    block_properties('vor-rule', `Output rule ${index + 1}`),
    make_field(
      'Main output',
      make_output_select(main, 'mainId', rule.mainId),
      'The output on Main that must work.',
    ),
    make_field(
      'Corresponding Backup output',
      make_output_select(backup, 'backupId', rule.backupId),
      'The output on Backup that takes its place.',
    ),
    make_field('Response', mode, 'What to do when this output is gone.'),
    make_button('Remove Rule', 'Stop protecting this output.', () => remove_rule(index)),
  );
  return block;
}

function fill_output_rules() {
  by_id('vorOutputRules').replaceChildren(...vorDraft.outputRules.map(make_rule_block));
}

function collect_output_rules() {
  [...by_id('vorOutputRules').children].forEach((block, index) => {
    const rule = vorDraft.outputRules[index];
    for (const { dataset, value } of block.querySelectorAll('select')) {
      rule[dataset.key] = dataset.key === 'mode' ? Number(value) : value;
    }
  });
}

function add_rule() {
  collect_draft();
  vorDraft.outputRules.push({ mainId: '', backupId: '', mode: 1 });
  fill_output_rules();
  focus_in_block(by_id('vorOutputRules'), vorDraft.outputRules.length - 1, 'select');
}

function remove_rule(index) {
  collect_draft();
  vorDraft.outputRules.splice(index, 1);
  fill_output_rules();
  focus_block(by_id('vorOutputRules'), index);
}
