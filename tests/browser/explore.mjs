// Journeys through what the store has: what the page shows is what the seed holds.
import assert from 'node:assert/strict';
import { until } from './gateway.mjs';
import { kBegin, kOtherProduct, kProduct } from './seed.mjs';

const number = (text) => Number(text.replaceAll(',', ''));
const sum = (values) => values.reduce((total, value) => total + value, 0);
const scope = `product=${encodeURIComponent(kProduct)}`;

// The seeded events of a product, each with its record.
export const eventsOf = (seeded, product = kProduct) => seeded.filter(({ pn }) => pn === product)
  .flatMap((record) => record.rt.map((event) => ({ record, ...event })));

const named = (events, name) => events.filter(({ m }) => m === name);
const day = (event) => event.t.slice(0, 10);

function counts(items) {
  const result = new Map();
  for (const item of items) {
    result.set(item, (result.get(item) ?? 0) + 1);
  }
  return result;
}

// The numbers behind the chart of a panel.
async function numbersOf(visit, panel) {
  const section = `section:has(h2:text-is("${panel}"))`;
  await visit.page.click(`${section} summary`);
  await visit.page.waitForSelector(`${section} details table`);
  return new Map((await visit.rows(panel)).map(([label, value]) => [label, number(value)]));
}

async function overview(visit, { store, seeded }) {
  const { page } = visit;
  const events = eventsOf(seeded);
  await visit.open(store, `overview?${scope}`);
  await visit.picture('overview');
  const byDay = await numbersOf(visit, 'Events over time');
  const expected = counts(events.map(day));
  for (const [date, value] of byDay) {
    assert.equal(value, expected.get(date) ?? 0, date);
  }
  assert.equal(sum([...byDay.values()]), events.length);

  const names = await visit.rows('Top names');
  assert.deepEqual(names[0].slice(0, 3),
                   ['DocumentOpened', 'event', named(events, 'DocumentOpened').length.toLocaleString('en-GB')]);
  await visit.follow('a:text-is("error")');
  const errors = await visit.rows('Top names');
  assert.equal(number(errors[0][2]), named(events, 'std-Error').length);
  const counters = await visit.rows('Counters');
  assert.deepEqual(counters[0], ['Menu/Open', (3 * named(events, 'Menu').length).toLocaleString('en-GB')]);

  // The selection narrows everything and stands in the address.
  await visit.select('#field-product', kOtherProduct);
  const others = eventsOf(seeded, kOtherProduct);
  assert.equal(sum([...(await numbersOf(visit, 'Events over time')).values()]), others.length);
  await visit.select('#field-version', '4.2');
  assert.equal(sum([...(await numbersOf(visit, 'Events over time')).values()]),
               others.filter(({ record }) => record.pv === '4.2').length);
  await visit.select('#field-time-utc-', '7');
  const from = Number(/from=(\d+)/.exec(page.url())[1]);
  assert.equal(sum([...(await numbersOf(visit, 'Events over time')).values()]),
               others.filter(({ record, t }) => record.pv === '4.2' && Date.parse(t) >= from).length);
  await visit.go(() => page.goBack());
  assert.equal(await page.inputValue('#field-time-utc-'), '');
}

async function oneEvent(visit, { store, seeded }) {
  const opened = named(eventsOf(seeded), 'DocumentOpened');
  await visit.open(store, `overview?${scope}`);
  await visit.follow('a:has-text("DocumentOpened")');
  await visit.hasText('Event', 'h1');
  const properties = (await visit.rows('Properties')).map((row) => row[0]).sort();
  assert.deepEqual(properties, ['Format', 'Load Seconds', 'Pages']);

  await visit.follow('#property-Pages');
  await visit.hasText('Property Pages');
  await visit.picture('event');
  const bins = await numbersOf(visit, 'Property Pages');
  assert.equal(bins.size, 20);
  assert.equal(sum([...bins.values()]), opened.length);

  await visit.follow('#property-Format');
  await visit.hasText('Property Format');
  const [most] = [...counts(opened.map(({ v }) => v.Format))].sort((a, b) => b[1] - a[1]);
  const [top] = await visit.rows('Property Format');
  assert.deepEqual([top[0], number(top[1])], most);
}

async function sessions(visit, { store, seeded }) {
  const mine = seeded.filter(({ pn }) => pn === kProduct);
  await visit.open(store, `sessions?${scope}`);
  const rows = await visit.rows('Sessions');
  assert.equal(rows.length, 100);
  const newest = mine.at(-1);
  assert.equal(rows[0][0], newest.rt[0].t.slice(0, 19).replace('T', ' '));
  assert.equal(number(rows[0][2]), newest.rt.length);
  await visit.picture('sessions');
  await visit.follow('text=100 older sessions');
  const older = await visit.rows('Sessions');
  assert.equal(older[0][0], mine.at(-101).rt[0].t.slice(0, 19).replace('T', ' '));
  await visit.follow('text=Newest sessions');

  await visit.follow('td.time a');
  await visit.hasText(newest.rt[0].s);
  const events = await visit.rows('Session');
  assert.equal(events.length, newest.rt.length);
  assert.equal(await visit.page.locator('.strip rect').count(), newest.rt.length);
  await visit.picture('session');
  await visit.follow('td a.id');
  await visit.hasText('The request and the record follow the format.');
  assert.deepEqual(JSON.parse(await visit.page.textContent('.record-text')), newest);
}

async function errors(visit, { store, seeded }) {
  const found = named(eventsOf(seeded), 'std-Error');
  const groups = [...counts(found.map(({ record, v }) => `${v['std-ErrCode']} ${record.pv}`))]
    .sort((a, b) => b[1] - a[1]);
  await visit.open(store, `errors?${scope}`);
  const rows = await visit.rows('Errors by code and version');
  assert.equal(rows.length, groups.length);
  assert.deepEqual([`${rows[0][0]} ${rows[0][1]}`, number(rows[0][2])], groups[0]);
  assert.equal(sum(rows.map((row) => number(row[2]))), found.length);
  await visit.hasText('reader.cpp:214 in quendel.dll');
  await visit.picture('errors');

  // Another one: its breadcrumbs are those of its last occurrence.
  const [code, version] = rows[3];
  await visit.follow('tbody tr:nth-child(4) a');
  await until('its details', async () => (await visit.text('section:has(h2:text-is("Trace"))')).includes(version));
  const last = found.filter(({ record, v }) => v['std-ErrCode'] === code && record.pv === version).at(-1);
  const before = last.record.rt.filter(({ t, g, m }) => t <= last.t && (m === 'std-Cmd' || /^[^$]/.test(g ?? '$')));
  assert.deepEqual((await visit.rows('Before its last')).map((row) => row[2]),
                   before.slice(-20).map(({ g, v }) => g ?? v['std-Name']));
  await visit.follow('text=The whole session');
  await visit.hasText(last.s);
}

async function environments(visit, { store, seeded }) {
  const mine = seeded.filter(({ pn }) => pn === kProduct);
  await visit.open(store, `environments?${scope}`);
  await visit.picture('environments');
  for (const panel of ['Versions', 'Languages', 'Operating systems']) {
    const rows = await visit.rows(panel);
    assert.equal(sum(rows.map((row) => number(row[2]))), mine.length, panel);
  }
  const [version, , count] = (await visit.rows('Versions'))[0];
  assert.equal(number(count), counts(mine.map(({ pv }) => pv)).get(version));
}

async function retention(visit, { store, seeded }) {
  const mine = seeded.filter(({ pn }) => pn === kProduct);
  await visit.open(store, `retention?${scope}`);
  await visit.picture('retention');
  // The first week has everybody who came in it.
  const week = 7 * 86400000;
  const first = new Set(mine.filter(({ rt }) => Date.parse(rt[0].t) < kBegin + week).map(({ ep }) => ep));
  const again = new Set(mine.filter(({ rt, ep }) => first.has(ep) && Date.parse(rt[0].t) >= kBegin + week
                                                    && Date.parse(rt[0].t) < kBegin + 2 * week).map(({ ep }) => ep));
  const [row] = await visit.rows('Endpoints that came back');
  assert.deepEqual([row[0], number(row[1])], ['2026-09-28', first.size]);
  assert.equal(parseFloat(row[3]), Math.round((100 * again.size) / first.size));
  const daily = await numbersOf(visit, 'Endpoints a day');
  const [date, endpoints] = [...daily][10];
  assert.equal(endpoints, new Set(mine.filter(({ rt }) => rt[0].t.startsWith(date)).map(({ ep }) => ep)).size);
}

// Without a durable store the views say how to get one.
async function noStore(visit, { start, folder }) {
  const gateway = await start(folder('no-store'));
  visit.allow('404');
  for (const view of ['overview', 'sessions', 'errors', 'environments', 'retention']) {
    await visit.open(gateway, view);
    await visit.hasText('gateway --store tav.db');
  }
  const empty = await start(folder('empty-store'), ['--store', 'tav.db']);
  await visit.open(empty, 'overview');
  await visit.hasText('The store is empty.');
}

export const exploreJourneys = {
  overview, event: oneEvent, sessions, errors, environments, retention, 'no-store': noStore,
};
