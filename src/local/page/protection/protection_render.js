function render_protection(protection) {
  render_protection_badges(protection);
  const alerts = (protection.alerts ?? []).filter(
    ({ active, severity }) => active && severity !== 'notice',
  );
  render_banner(protection, alerts);
  sound_alerts(protection, alerts);
  if (vorDraft) render_protection_dialog(protection);
}

const render_shell = render;
render = () => {
  render_shell();
  if (state.protection) render_protection(state.protection);
};
