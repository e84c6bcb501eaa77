// One session: its events on a line and in a list.
import { h, svg, arrived, visible, shorten } from './dom.js';
import { ask } from './client.js';
import { link, scope } from './address.js';
import { Panel, empty, facts, table } from './parts.js';
import { clock, duration, moment, plural, whole } from './format.js';

export const title = 'Session';

const kWidth = 1000;
const kHeight = 56;
const kShownEvents = 500;

// One tick for each event; errors are taller.
function strip(rows) {
  const begin = rows[0].time;
  const length = Math.max(1, rows.at(-1).time - begin);
  const ticks = rows.map(({ time, kind, name }) => {
    const x = 6 + ((kWidth - 12) * (time - begin)) / length;
    const height = kind === 'error' ? kHeight - 16 : 18;
    return svg('rect', { class: `tick ${kind}`, x: x - 1.5, y: kHeight - 8 - height, width: 3, height },
      svg('title', {}, `${clock(time)} ${visible(shorten(name, 80))}`));
  });
  return svg('svg', {
    class: 'strip', viewBox: `0 0 ${kWidth} ${kHeight}`, preserveAspectRatio: 'none', role: 'img',
    'aria-label': `${plural(rows.length, 'event')} in ${duration(length)}; they are listed below`,
  }, svg('line', { class: 'axis', x1: 0, x2: kWidth, y1: kHeight - 8, y2: kHeight - 8 }), ticks);
}

const kLegend = ['event', 'command', 'place', 'error'];
const legend = () => h('p', { class: 'legend', 'aria-hidden': 'true' },
  kLegend.map((kind) => h('span', { class: `key ${kind}` }, kind)));

export function properties(value) {
  // A command's name is already shown as its name.
  const entries = Object.entries(value ?? {}).filter(([name]) => name !== 'std-Name');
  return h('span', { class: 'properties' }, entries.slice(0, 12).map(([name, item]) =>
    h('span', { class: 'property' }, arrived(name, 60), '=',
      arrived(typeof item === 'string' ? item : JSON.stringify(item), 120))),
    entries.length > 12 && h('span', { class: 'property' }, `and ${entries.length - 12} more`));
}

function eventList(rows, state) {
  const begin = rows[0].time;
  return table('Events of the session', [
    { title: 'time (UTC)', kind: 'time', cell: (row) => clock(row.time) },
    { title: 'after', number: true, cell: (row) => duration(row.time - begin) },
    { title: 'kind', cell: (row) => h('span', { class: `kind ${row.kind}` }, row.kind) },
    { title: 'name', cell: (row) => [h('a', {
      href: link('event', { ...scope(state), name: row.name }) }, arrived(row.name, 80)),
      row.code && h('span', { class: 'bad' }, ' ', arrived(row.code, 60))] },
    { title: 'properties', cell: (row) => properties(row.properties) },
    { title: 'record', cell: (row) => h('a', {
      class: 'id', href: link('record', { digest: row.record }) }, String(row.record).slice(0, 8)) },
  ], rows.slice(0, kShownEvents));
}

export function show(place, { state, signal }) {
  const panel = new Panel('Session', { class: 'wide' });
  place.append(panel.element);
  panel.load(signal, async () => {
    // The session as a whole, whatever time and version are selected.
    const { rows, milliseconds } = await ask(
      'session', { product: state.product, session: state.session ?? '' }, signal);
    panel.note(`answered in ${whole(milliseconds)} ms`);
    if (rows.length === 0) {
      return [empty('The store has no events of this session.'),
              h('a', { href: link('sessions', scope(state)) }, 'All sessions')];
    }
    const errors = rows.filter(({ kind }) => kind === 'error').length;
    return [
      facts([
        ['session', h('span', { class: 'id' }, state.session)],
        ['begin (UTC)', moment(rows[0].time)],
        ['length', duration(rows.at(-1).time - rows[0].time)],
        ['events', whole(rows.length)],
        ['errors', whole(errors)],
      ]),
      strip(rows), legend(), eventList(rows, state),
      rows.length > kShownEvents && h('p', { class: 'hint' },
        `The list shows the first ${kShownEvents} of ${whole(rows.length)} events.`),
    ];
  });
}
