// The bar above every view of the store: product, version and time range. What is chosen is part of
// the address.
import { ask } from './client.js';
import { empty, field, select } from './parts.js';
import { go } from './address.js';
import { h, visible, shorten } from './dom.js';
import { day } from './format.js';

const kDay = 86400000;
const kRanges = [
  ['', 'all time'], ['1', 'last 24 hours of data'], ['7', 'last 7 days of data'],
  ['30', 'last 30 days of data'], ['90', 'last 90 days of data'], ['own', 'from … to …'],
];

const name = (text) => visible(shorten(text, 60));

// Products with their versions and the time that their events cover, newest first.
export async function loadProducts(signal) {
  const { rows } = await ask('products', {}, signal);
  const products = new Map();
  for (const { product, version, first, last, events } of rows) {
    const known = products.get(product)
      ?? { product, versions: [], first: Infinity, last: -Infinity, events: 0 };
    known.versions.push(version);
    known.first = Math.min(known.first, first ?? Infinity);
    known.last = Math.max(known.last, last ?? -Infinity);
    known.events += events;
    products.set(product, known);
  }
  return [...products.values()].sort((a, b) => b.last - a.last);
}

export const noProducts = () => empty(
  'The store is empty. Point an application at this gateway:',
  h('pre', {}, `TAV_GATEWAY=${location.origin}/`));

// What of the scope changes when the range is chosen. Ranges count from the product's last event, so
// that old data is found, and are stored as times, so that the link means the same tomorrow.
function rangeOf(choice, product) {
  if (choice === '') {
    return { from: '', to: '' };
  }
  const end = product.last + 1;
  const days = choice === 'own' ? 7 : Number(choice);
  return { from: Math.max(0, end - days * kDay), to: end };
}

// The choice that a scope stands for.
function chosenRange({ from, to }, product) {
  if (!from && !to) {
    return '';
  }
  const days = kRanges.find(([days]) => Number(days) > 0 && Number(to) === product.last + 1
                                        && Number(to) - Number(from) === Number(days) * kDay);
  return days ? days[0] : 'own';
}

function dateField(label, value, onchange) {
  const control = h('input', { type: 'date', value: value ? day(value) : '' });
  control.addEventListener('change', () => onchange(control.valueAsNumber));
  return field(label, control);
}

export function scopeBar(view, state, products, product) {
  const change = (parts) => go(view, { ...state, before: '', ...parts });
  const range = chosenRange(state, product);
  const versions = [['', 'all versions'], ...product.versions.map((v) => [v, name(v)])];
  const bar = h('form', { class: 'filters', 'aria-label': 'Selection' },
    field('Product', select(products.map(({ product: p }) => [p, name(p)]), product.product,
                            (value) => go(view, { product: value }))),
    field('Version', select(versions, state.version ?? '', (value) => change({ version: value }))),
    field('Time (UTC)', select(kRanges, range, (value) => change(rangeOf(value, product)))));
  if (range === 'own') {
    bar.append(
      dateField('From', state.from, (time) => change({ from: Number.isNaN(time) ? '' : time })),
      // The last day is part of the range; the store's bound is not.
      dateField('To', state.to && Number(state.to) - 1,
                (time) => change({ to: Number.isNaN(time) ? '' : time + kDay })));
  }
  bar.addEventListener('submit', (event) => event.preventDefault());
  return bar;
}

// The range in ms that a scope covers, by its bounds or by the product's events.
export const span = (state, product) => [Number(state.from || product.first),
                                         Number(state.to || product.last + 1)];
