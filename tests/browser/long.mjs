// A million events: every view answers, and no question takes long.
import assert from 'node:assert/strict';
import { postAll, records, kProduct } from './seed.mjs';

const kRecords = 50000;
const kSlice = 5000;
const kLimit = 10000; // ms, the store's own bound; on an idle machine they are below a second

async function million(visit, { start, folder, storeOption }) {
  const gateway = await start(folder('million'), storeOption);
  let events = 0;
  const begin = performance.now();
  for (let seed = 1; seed <= kRecords / kSlice; seed += 1) {
    const list = records(kSlice, { seed, size: 20 });
    events += list.reduce((sum, { rt }) => sum + rt.length, 0);
    await postAll(gateway.url, list, 32);
  }
  console.log(`        ${events} events in ${((performance.now() - begin) / 1000).toFixed(0)} s`);
  assert.ok(events >= 1000000);
  const scope = `product=${encodeURIComponent(kProduct)}`;
  for (const address of ['live', `overview?${scope}`, `event?${scope}&name=DocumentOpened&property=Pages`,
                         `event?${scope}&name=DocumentOpened&property=Format`, `sessions?${scope}`,
                         `errors?${scope}`, `environments?${scope}`, `retention?${scope}`]) {
    await visit.open(gateway, address);
    const notes = await visit.page.locator('.note').allInnerTexts();
    const times = notes.map((note) => Number(/answered in ([\d,]+) ms/.exec(note)?.[1].replace(',', '') ?? 0));
    console.log(`        ${address.split('?')[0].padEnd(14)} ${times.filter((time) => time > 0).join(', ')} ms`);
    assert.ok(Math.max(...times) < kLimit, address);
  }
}

export const longJourneys = { million };
