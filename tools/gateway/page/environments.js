// Who uses it: versions, languages and operating systems by endpoints.
import { h, arrived } from './dom.js';
import { ask } from './client.js';
import { scope } from './address.js';
import { Panel, bar, empty, table } from './parts.js';
import { share, whole } from './format.js';

export const title = 'Environments';

const kQuestions = [['version', 'Versions'], ['language', 'Languages'], ['os', 'Operating systems']];

function panelFor(what, heading, { state, signal }) {
  const panel = new Panel(heading);
  panel.load(signal, async () => {
    const { rows, milliseconds } = await ask('environments', { ...scope(state), what }, signal);
    panel.note(`answered in ${whole(milliseconds)} ms`);
    if (rows.length === 0) {
      return empty('Nothing is known in this selection.');
    }
    const total = rows.reduce((sum, { sessions }) => sum + sessions, 0);
    const most = rows.reduce((max, { sessions }) => Math.max(max, sessions), 1);
    return table(`${heading} by sessions`, [
      { title: what === 'os' ? 'system' : what,
        cell: (row) => (row.value ? arrived(row.value, 60) : h('span', { class: 'soft' }, 'unknown')) },
      { title: 'endpoints', number: true, cell: (row) => whole(row.endpoints) },
      { title: 'sessions', number: true, cell: (row) => whole(row.sessions) },
      { title: 'share', number: true, cell: (row) => share(row.sessions, total) },
      { title: '', kind: 'bar-cell', cell: (row) => bar(row.sessions / most) },
    ], rows);
  });
  return panel.element;
}

export function show(place, context) {
  place.append(...kQuestions.map(([what, heading]) => panelFor(what, heading, context)));
}
