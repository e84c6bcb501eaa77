// Errors by code and version; for one of them, the trace and what the user did before it.
import { h, arrived } from './dom.js';
import { ask } from './client.js';
import { link, scope } from './address.js';
import { Panel, bar, empty, facts, table } from './parts.js';
import { properties } from './session.js';
import { clock, moment, whole } from './format.js';

export const title = 'Errors';

const isChosen = (row, { code, of }) => row.code === code && row.version === of;

function errorTable(rows, state) {
  const most = rows.reduce((max, { events }) => Math.max(max, events), 1);
  return table('Errors by code and version', [
    { title: 'code', cell: (row) => h('a', {
      id: `error-${row.code}-${row.version}`,
      href: link('errors', { ...state, code: row.code, of: row.version }) },
      row.code ? arrived(row.code, 60) : 'without a code') },
    { title: 'version', cell: (row) => arrived(row.version, 40) },
    { title: 'events', number: true, cell: (row) => whole(row.events) },
    { title: 'sessions', number: true, cell: (row) => whole(row.sessions) },
    { title: 'last (UTC)', kind: 'time', cell: (row) => moment(row.last) },
    { title: '', kind: 'bar-cell', cell: (row) => bar(row.events / most) },
  ], rows, { isCurrent: (row) => isChosen(row, state) });
}

function traceList(trace) {
  if (!Array.isArray(trace) || trace.length === 0) {
    return empty('No trace came with this error.');
  }
  return h('ol', { class: 'trace' }, trace.map((entry) => h('li', {},
    h('span', { class: 'id' }, arrived(entry['std-Loc'] ?? '', 200)),
    entry['std-Lib'] && h('span', { class: 'soft' }, ' in ', arrived(entry['std-Lib'], 120)),
    entry['std-Meta'] && h('span', { class: 'soft' }, ' · ', arrived(entry['std-Meta'], 200)))));
}

function beforePanel({ state, signal }, error) {
  const panel = new Panel('Before its last occurrence');
  panel.load(signal, async () => {
    const { rows, milliseconds } = await ask('before_error', {
      product: state.product, session: error.last_session, time: error.last, limit: 20 }, signal);
    panel.note(`answered in ${whole(milliseconds)} ms`);
    const session = h('p', {}, h('a', {
      href: link('session', { ...scope(state), session: error.last_session }) }, 'The whole session'));
    return rows.length === 0
      ? [empty('No places or commands are known before this error.'), session]
      : [table('Places and commands before the error', [
        { title: 'time (UTC)', kind: 'time', cell: (row) => clock(row.time) },
        { title: 'kind', cell: (row) => h('span', { class: `kind ${row.kind}` }, row.kind) },
        { title: 'name', cell: (row) => arrived(row.name, 80) },
        { title: 'properties', cell: (row) => properties(row.properties) },
      ], rows), session];
  });
  return panel.element;
}

function detail(context, error) {
  const trace = new Panel('Trace');
  trace.load(context.signal, async () => [
    facts([['code', arrived(error.code || '–')], ['version', arrived(error.version)],
           ['events', whole(error.events)], ['sessions', whole(error.sessions)]]),
    traceList(error.trace)]);
  return h('div', { class: 'side-by-side wide' }, trace.element, beforePanel(context, error));
}

export function show(place, context) {
  const { state, signal } = context;
  const panel = new Panel('Errors by code and version', { class: 'wide' });
  place.append(panel.element);
  panel.load(signal, async () => {
    const { rows, milliseconds } = await ask('errors', { ...scope(state), limit: 50 }, signal);
    panel.note(`answered in ${whole(milliseconds)} ms`);
    if (rows.length === 0) {
      return empty('No errors in this selection.');
    }
    const chosen = rows.find((row) => isChosen(row, state)) ?? rows[0];
    const chosenState = { ...state, code: chosen.code, of: chosen.version };
    if (!signal.aborted) {
      place.append(detail(context, chosen));
    }
    return errorTable(rows, chosenState);
  });
}
