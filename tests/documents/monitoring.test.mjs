// The samples for a monitoring system use the figures that the exporter has, and the document names
// them all. Prometheus' own tool reads the samples too.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { test } from 'node:test';
import { promtool } from '../driver/promtool.mjs';
import { read } from './support.mjs';

const figures_in = (text) => new Set([...text.matchAll(/\belvantris_\w+/g)].map(([name]) => name));
const source = read('src/tool/program_metrics.cpp');
const figures = new Set([...source.matchAll(/"(elvantris_\w+)"/g)].map(([, name]) => name));

test('every_figure_of_the_exporter_is_described_and_no_other', () => {
  assert.ok(figures.size > 15, 'the figures were not found');
  assert.deepEqual([...figures_in(read('docs/monitoring/README.md'))].sort(), [...figures].sort());
});

for (const name of ['alerts.yml', 'dashboard.json']) {
  test(`${name}_asks_for_figures_that_are_there`, () => {
    const asked = figures_in(read(`docs/monitoring/${name}`));
    assert.ok(asked.size > 8, 'the figures were not found');
    assert.deepEqual(
      [...asked].filter((figure) => !figures.has(figure)),
      [],
    );
  });
}

for (const words of [
  ['check', 'config', 'prometheus.yml'],
  ['check', 'rules', 'alerts.yml'],
  ['test', 'rules', 'alerts_test.yml'],
]) {
  test(`promtool_is_content_with_${words.join('_')}`, () => {
    const cwd = new URL('../../docs/monitoring', import.meta.url);
    execFileSync(promtool, words, { cwd, stdio: 'pipe' });
  });
}

test('every_rule_is_seen_to_fire', () => {
  const names = (text, form) => [...new Set([...text.matchAll(form)].map(([, name]) => name))];
  const rules = names(read('docs/monitoring/alerts.yml'), /- alert: (\w+)/g);
  assert.ok(rules.length > 5, 'the rules were not found');
  const fired = names(read('docs/monitoring/alerts_test.yml'), /alertname="(\w+)"/g);
  assert.deepEqual(fired.sort(), rules.sort());
});

test('every_panel_of_the_dashboard_has_a_place_of_its_own', () => {
  const taken = new Set();
  for (const { title, gridPos } of JSON.parse(read('docs/monitoring/dashboard.json')).panels) {
    for (let x = gridPos.x; x < gridPos.x + gridPos.w; x += 1)
      for (let y = gridPos.y; y < gridPos.y + gridPos.h; y += 1) {
        assert.ok(x < 24 && !taken.has(`${x} ${y}`), title);
        taken.add(`${x} ${y}`);
      }
  }
});
