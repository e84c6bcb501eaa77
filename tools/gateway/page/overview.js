// Events over time, the most frequent names, the counters.
import { h, arrived } from './dom.js';
import { ask } from './client.js';
import { link, scope } from './address.js';
import { span } from './scope.js';
import { Panel, bar, choice, empty, table } from './parts.js';
import { plot } from './plot.js';
import { day, minute, share, short, whole } from './format.js';

export const title = 'Overview';

const kStepTimes = { minute: 60000, hour: 3600000, day: 86400000 };
const kMaxPoints = 1500; // more than that is no longer a chart
const kKinds = ['event', 'command', 'error', 'place', 'idle', 'begin', 'end', 'counter', 'statistic'];

// The finest step with a readable number of bars.
function usualStep(length) {
  return Object.keys(kStepTimes).find((step) => length / kStepTimes[step] <= 200) ?? 'day';
}

// The store leaves out the steps without events; here they are zeros. A selection may be far longer
// than the time that has events, also by a wrong clock: the newest steps are shown then.
function fillSteps(rows, step, from, to) {
  const width = kStepTimes[step];
  const counts = new Map(rows.map(({ time, events }) => [time, events]));
  const end = (to - from) / width > kMaxPoints ? rows.at(-1).time + width : to;
  const begin = Math.max(Math.floor(from / width) * width,
                         Math.ceil(end / width - kMaxPoints) * width);
  const times = [];
  for (let time = begin; time < end; time += width) {
    times.push(time);
  }
  return { times, values: times.map((time) => counts.get(time) ?? 0) };
}

const numbersOf = (milliseconds) => `answered in ${whole(milliseconds)} ms`;

// Of all events, or of those with a name. A click on a bar selects its time.
export function timePanel(view, { state, product, signal }, heading, name) {
  const panel = new Panel(heading, { class: 'wide' });
  const [from, to] = span(state, product);
  const usable = Object.keys(kStepTimes).filter((step) => (to - from) / kStepTimes[step] <= kMaxPoints);
  const step = usable.includes(state.step) ? state.step : usualStep(to - from);
  const text = step === 'day' ? day : minute;
  panel.load(signal, async () => {
    const { rows, milliseconds } = await ask('events_over_time',
                                             { ...scope(state), step, name }, signal);
    panel.note(numbersOf(milliseconds));
    if (rows.length === 0) {
      return empty('No events in this selection. Choose a longer time or all versions.');
    }
    const { times, values } = fillSteps(rows, step, from, to);
    return [
      choice('Step', usable.map((one) => ({
        text: `by ${one}`, address: link(view, { ...state, step: one }), isCurrent: one === step }))),
      plot('bar', {
        title: heading, labelTitle: 'from (UTC)', unit: 'events',
        labels: times.map(text), values,
        address: (index) => link(view, { ...state, from: times[index],
                                         to: times[index] + kStepTimes[step], step: '' }),
      }),
    ];
  });
  return panel.element;
}

function namesPanel({ state, signal }) {
  const panel = new Panel('Top names');
  panel.load(signal, async () => {
    const { rows, milliseconds } = await ask('names', { ...scope(state), kind: state.kind, limit: 50 },
                                             signal);
    panel.note(numbersOf(milliseconds));
    const kinds = choice('Kind', [{ text: 'all', address: link('overview', { ...state, kind: '' }),
                                    isCurrent: !state.kind },
      ...kKinds.map((kind) => ({ text: kind, address: link('overview', { ...state, kind }),
                                 isCurrent: state.kind === kind }))]);
    if (rows.length === 0) {
      return [kinds, empty('No events of this kind in this selection.')];
    }
    const total = rows.reduce((sum, { events }) => sum + events, 0);
    const most = rows[0].events;
    return [kinds, table('Names by number of events', [
      { title: 'name', cell: (row) => h('a', { href: link('event', { ...scope(state), name: row.name }) },
                                        arrived(row.name, 80)) },
      { title: 'kind', cell: (row) => row.kind },
      { title: 'events', number: true, cell: (row) => whole(row.events) },
      { title: rows.length === 50 ? 'share of the first 50' : 'share', number: true,
        cell: (row) => share(row.events, total) },
      { title: '', kind: 'bar-cell', cell: (row) => bar(row.events / most) },
    ], rows)];
  });
  return panel.element;
}

function countersPanel({ state, signal }) {
  const panel = new Panel('Counters');
  panel.load(signal, async () => {
    const { rows, milliseconds } = await ask('counters', { ...scope(state), limit: 50 }, signal);
    panel.note(numbersOf(milliseconds));
    return rows.length === 0
      ? empty('No counters in this selection. Hosts report them with IncrementCounter.')
      : table('Counters, summed', [
        { title: 'group / counter', cell: (row) => arrived(row.name, 80) },
        { title: 'total', number: true, cell: (row) => short(row.total) },
      ], rows);
  });
  return panel.element;
}

export function show(place, context) {
  place.append(timePanel('overview', context, 'Events over time'), namesPanel(context),
               countersPanel(context));
}
