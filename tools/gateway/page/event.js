// One event: when it came, its properties, and one property's values or distribution.
import { h, arrived } from './dom.js';
import { ask } from './client.js';
import { link, scope } from './address.js';
import { Panel, barTable, choice, empty, table } from './parts.js';
import { plot } from './plot.js';
import { timePanel } from './overview.js';
import { short, whole } from './format.js';

export const title = 'Event';

const kBins = 20;

function propertiesPanel({ state, signal }, rows) {
  const panel = new Panel('Properties');
  panel.load(signal, async () => (rows.length === 0
    ? empty('This event has no properties.')
    : table('Properties of the event', [
      { title: 'property', cell: (row) => h('a', {
        id: `property-${row.property}`,
        href: link('event', { ...state, property: row.property, as: '' }) }, arrived(row.property, 80)) },
      { title: 'events', number: true, cell: (row) => whole(row.events) },
      { title: 'as a number', number: true, cell: (row) => whole(row.numbers) },
    ], rows, { isCurrent: (row) => row.property === state.property })));
  return panel.element;
}

async function histogram({ state, signal }, panel) {
  const { rows, milliseconds } = await ask(
    'histogram', { ...scope(state), name: state.name, property: state.property, bins: kBins }, signal);
  panel.note(`answered in ${whole(milliseconds)} ms`);
  if (rows.length === 0) {
    return empty('No event in this selection has a number here.');
  }
  return plot('bar', {
    title: `Distribution of ${state.property}`, labelTitle: 'from – to', unit: 'events',
    labels: rows.map(({ low, high }) => (low === high ? short(low) : `${short(low)} – ${short(high)}`)),
    values: rows.map(({ events }) => events),
  });
}

async function values({ state, signal }, panel) {
  const { rows, milliseconds } = await ask(
    'values', { ...scope(state), name: state.name, property: state.property, limit: 50 }, signal);
  panel.note(`answered in ${whole(milliseconds)} ms`);
  return rows.length === 0 ? empty('No event in this selection has this property.')
    : barTable('Most frequent values', {
      title: 'value', unit: 'events', rows,
      value: (row) => (typeof row.value === 'object' ? JSON.stringify(row.value) : row.value),
      count: (row) => row.events,
    });
}

function propertyPanel(context, property) {
  const { state, signal } = context;
  const panel = new Panel('Property');
  panel.title(`Property ${property.property.slice(0, 80)}`);
  const kind = state.as || (property.numbers > property.events / 2 ? 'histogram' : 'values');
  panel.load(signal, async () => [
    choice('Show as', [['histogram', 'histogram'], ['values', 'top values']].map(([as, text]) => ({
      text, address: link('event', { ...state, as }), isCurrent: as === kind }))),
    kind === 'histogram' ? await histogram(context, panel) : await values(context, panel),
  ]);
  return panel.element;
}

export function show(place, context) {
  const { state, signal } = context;
  if (!state.name) {
    place.append(empty('No event is selected.'), h('a', { href: link('overview', scope(state)) },
                                                    'Choose one from the top names'));
    return;
  }
  const properties = h('div', { class: 'side-by-side wide' });
  place.append(h('p', { class: 'subject wide' }, arrived(state.name, 300)),
               timePanel('event', context, 'Events over time', state.name), properties);
  const waiting = new Panel('Properties');
  properties.append(waiting.element);
  waiting.load(signal, async () => {
    const { rows } = await ask('properties', { ...scope(state), name: state.name }, signal);
    if (!signal.aborted) {
      const chosen = rows.find(({ property }) => property === state.property) ?? rows[0];
      const chosenState = { ...context, state: { ...state, property: chosen?.property } };
      properties.replaceChildren(propertiesPanel(chosenState, rows),
                                 ...(chosen ? [propertyPanel(chosenState, chosen)] : []));
    }
    return [];
  });
}
