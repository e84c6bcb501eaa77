// The sessions as lines on a common time axis, newest first.
import { h } from './dom.js';
import { ask } from './client.js';
import { link, scope } from './address.js';
import { Panel, empty, table } from './parts.js';
import { duration, minute, moment, whole } from './format.js';

export const title = 'Sessions';

const kPage = 100;

// A session's place between the first begin and the last end of the list.
function timeLine({ begin, end, errors }, from, to) {
  const length = Math.max(1, to - from);
  const line = h('span', { class: `line ${errors > 0 ? 'bad' : ''}` });
  line.style.left = `${(100 * (begin - from)) / length}%`;
  line.style.width = `${(100 * (end - begin)) / length}%`;
  return h('span', { class: 'lines', 'aria-hidden': 'true', title: `${moment(begin)} to ${moment(end)}` },
    line);
}

function pager(state, rows) {
  return h('p', { class: 'pager' },
    state.before && h('a', { href: link('sessions', { ...state, before: '' }) }, 'Newest sessions'),
    rows.length === kPage && h('a', {
      href: link('sessions', { ...state, before: rows.at(-1).begin }) }, `${kPage} older sessions`));
}

export function show(place, { state, signal }) {
  const panel = new Panel('Sessions', { class: 'wide' });
  place.append(panel.element);
  panel.load(signal, async () => {
    const { rows, milliseconds } = await ask(
      'sessions', { ...scope(state), before: state.before, limit: kPage }, signal);
    panel.note(`answered in ${whole(milliseconds)} ms`);
    if (rows.length === 0) {
      return [empty('No sessions in this selection. Choose a longer time or all versions.'),
              pager(state, rows)];
    }
    const from = rows.reduce((least, { begin }) => Math.min(least, begin), Infinity);
    const to = rows.reduce((most, { end }) => Math.max(most, end), -Infinity);
    return [
      table('Sessions, newest first', [
        { title: 'begin (UTC)', kind: 'time', cell: (row) => h('a', {
          href: link('session', { ...scope(state), session: row.session }) }, moment(row.begin)) },
        { title: 'length', number: true, cell: (row) => duration(row.end - row.begin) },
        { title: 'events', number: true, cell: (row) => whole(row.events) },
        { title: 'errors', number: true,
          cell: (row) => (row.errors > 0 ? h('span', { class: 'bad' }, whole(row.errors)) : '0') },
        { title: 'endpoint', cell: (row) => h('span', { class: 'id', title: row.endpoint },
                                              row.endpoint.slice(0, 10)) },
        { title: `${minute(from)} to ${minute(to)}`, kind: 'lines-cell',
          cell: (row) => timeLine(row, from, to) },
      ], rows),
      pager(state, rows),
    ];
  });
}
