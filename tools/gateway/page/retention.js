// Who comes back: endpoints a day, and endpoints by the week of their first session.
import { h } from './dom.js';
import { ask } from './client.js';
import { scope } from './address.js';
import { Panel, empty } from './parts.js';
import { plot } from './plot.js';
import { day, share, whole } from './format.js';

export const title = 'Retention';

const kMaxWeeks = 12;

function dailyPanel({ state, signal }) {
  const panel = new Panel('Endpoints a day', { class: 'wide' });
  panel.load(signal, async () => {
    const { rows, milliseconds } = await ask('daily', scope(state), signal);
    panel.note(`answered in ${whole(milliseconds)} ms`);
    return rows.length === 0 ? empty('No sessions in this selection.') : plot('line', {
      title: 'Endpoints with a session, by day', labelTitle: 'day (UTC)', unit: 'endpoints',
      labels: rows.map((row) => day(row.day)), values: rows.map(({ endpoints }) => endpoints),
    });
  });
  return panel.element;
}

// rows: {first_week, week, endpoints} -> [{first, size, counts[week]}]
function cohorts(rows) {
  const byWeek = new Map();
  for (const { first_week: first, week, endpoints } of rows) {
    const cohort = byWeek.get(first) ?? { first, counts: [] };
    cohort.counts[week] = endpoints;
    byWeek.set(first, cohort);
  }
  return [...byWeek.values()].sort((a, b) => a.first - b.first);
}

function cell({ counts }, week, lastWeek) {
  if (week > lastWeek) {
    return h('td', { class: 'number' });
  }
  const count = counts[week] ?? 0;
  const part = counts[0] ? count / counts[0] : 0;
  const element = h('td', { class: 'number cohort', title: `${whole(count)} endpoints` },
    share(count, counts[0]));
  element.style.setProperty('--part', part.toFixed(3));
  return element;
}

function cohortTable(list) {
  const latest = Math.max(...list.map(({ first, counts }) => first / 604800000 + counts.length - 1));
  const weeks = Math.min(kMaxWeeks, Math.max(...list.map(({ counts }) => counts.length)));
  const columns = Array.from({ length: weeks }, (_, week) => week);
  return h('div', { class: 'scroll' }, h('table', {},
    h('caption', { class: 'hidden' }, 'Endpoints that came back, by week after the first'),
    h('thead', {}, h('tr', {}, h('th', { scope: 'col' }, 'first week from'),
      h('th', { scope: 'col', class: 'number' }, 'endpoints'),
      columns.map((week) => h('th', { scope: 'col', class: 'number' }, `week ${week}`)))),
    h('tbody', {}, list.map((cohort) => h('tr', {},
      h('th', { scope: 'row' }, day(cohort.first)),
      h('td', { class: 'number' }, whole(cohort.counts[0] ?? 0)),
      columns.map((week) => cell(cohort, week, latest - cohort.first / 604800000)))))));
}

function cohortPanel({ state, signal }) {
  const panel = new Panel('Endpoints that came back, by week of the first session', { class: 'wide' });
  panel.load(signal, async () => {
    const { rows, milliseconds } = await ask('retention', scope(state), signal);
    panel.note(`answered in ${whole(milliseconds)} ms`);
    return rows.length === 0 ? empty('No sessions in this selection.') : cohortTable(cohorts(rows));
  });
  return panel.element;
}

export function show(place, context) {
  place.append(dailyPanel(context), cohortPanel(context));
}
