// Journeys through what happens at the gateway now: arrivals, a record, faults, settings.
import assert from 'node:assert/strict';
import { readFileSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { until } from './gateway.mjs';
import { kOtherProduct, post, postAll } from './seed.mjs';

const number = (text) => Number(text.replaceAll(',', ''));

async function arrivals(visit, { start, folder, seeded }) {
  const { page } = visit;
  const gateway = await start(folder('arrivals'));
  await visit.open(gateway);
  await visit.hasText(`TAV_GATEWAY=${gateway.url}`);
  await visit.isConnected();

  // They come without a reload, newest first.
  await postAll(gateway.url, seeded.slice(0, 60), 1);
  await page.waitForSelector('text=#60');
  const shown = (await visit.rows('Newest first')).map(([, record]) => Number(record.slice(1)));
  assert.deepEqual(shown, [...shown].sort((a, b) => b - a));
  const summary = await gateway.json('api/summary');
  await until('the ledger', async () =>
    number(await page.innerText('[data-entry=events]')) === summary.events);
  assert.equal(number(await page.innerText('[data-entry=records]')), 60);
  await visit.picture('live');

  // The filter narrows the list and stands in the address.
  await page.fill('#filter-name', 'documentopened');
  await until('only that name', async () =>
    (await visit.rows('Newest first')).every((row) => row[5] === 'DocumentOpened'));
  await page.fill('#filter-product', 'Sketch');
  await until('only that product', async () => {
    const rows = await visit.rows('Newest first');
    return rows.length > 0 && rows.every((row) => row[2].startsWith(kOtherProduct));
  });
  assert.equal(new URL(page.url()).hash, '#live?name=documentopened&product=Sketch');
  await page.fill('#filter-version', 'no such version');
  await visit.hasText('Nothing that arrived passes the filter.');
  await visit.follow('text=Remove the filter');
  await page.fill('#filter-session', seeded[59].rt[0].s.slice(0, 8));
  await until('one session', async () =>
    (await visit.rows('Newest first')).length === seeded[59].rt.length);

  // A pause holds the list; the ledger goes on.
  await page.fill('#filter-session', '');
  await page.click('#pause');
  await postAll(gateway.url, seeded.slice(60, 63), 1);
  await until('the ledger', async () => number(await page.innerText('[data-entry=records]')) === 63);
  assert.equal((await visit.rows('Newest first'))[0][1], '#60');
  await page.click('#pause');
  await page.waitForSelector('text=#63');

  // A gateway that is cleared begins again at 1.
  await fetch(`${gateway.url}api/reset`, { method: 'POST' });
  await post(gateway.url, seeded[100]);
  await until('only the new record', async () => {
    const rows = await visit.rows('Newest first');
    return rows.length > 0 && rows.every((row) => row[1] === '#1');
  });
  await post(gateway.url, { ...seeded[101], can: 'Viewer', cav: '1.0' });
  await page.waitForSelector('text=#2');
  await page.fill('#filter-component', 'viewer');
  await until('only that component', async () => {
    const rows = await visit.rows('Newest first');
    return rows.length > 0 && rows.every((row) => row[1] === '#2');
  });
}

async function oneRecord(visit, { start, folder, seeded }) {
  const { page } = visit;
  const gateway = await start(folder('record'));
  await postAll(gateway.url, seeded.slice(0, 5), 1);
  await post(gateway.url, { ...seeded[5], tv: 'three', zz: 1 }, { 'X-SDKVersion': '1.0' });
  await post(gateway.url, seeded[0]);
  await visit.open(gateway, 'live?show=records');
  await page.waitForSelector('text="#7"');
  const rows = await visit.rows('Newest first');
  assert.deepEqual(rows.map((row) => row[1]), ['#7', '#6', '#5', '#4', '#3', '#2', '#1']);
  assert.match(rows[0].at(-1), /double of #1/);
  assert.match(rows[1].at(-1), /problems/);

  await page.fill('#filter-session', seeded[2].rt[0].s.slice(0, 13));
  await until('the record of one session', async () =>
    (await visit.rows('Newest first')).map((row) => row[1]).join() === '#3');
  await page.fill('#filter-session', '');

  await visit.follow('text="#6"');
  const { problems } = (await gateway.json('api/records?body=0'))[5];
  assert.ok(problems.length >= 3);
  for (const problem of problems) {
    await visit.hasText(problem);
  }
  await visit.hasText('x-sdkversion 1.0');
  await visit.picture('record');
  const text = await page.textContent('.record-text');
  assert.deepEqual(JSON.parse(text), { ...seeded[5], tv: 'three', zz: 1 });
  await visit.go(() => page.goBack());
  await visit.follow('text="#7"');
  await visit.hasText('The request and the record follow the format.');
  await visit.follow('text="record 1"');
  await visit.hasText('Record 1', 'h1');
}

async function faults(visit, { start, folder, seeded }) {
  const { page } = visit;
  const gateway = await start(folder('faults'));
  await visit.open(gateway, 'faults');
  await visit.hasText('No fault waits');
  await page.click('text=503 for the next 3 requests');
  await visit.hasText('answer 503 3');
  await page.selectOption('#fault-kind', 'delay');
  await page.fill('#field-delay-in-ms-at-most-600-000', '5');
  await page.fill('#field-for-how-many-requests', '2');
  await page.click('text=Add the fault');
  await visit.hasText('answer 5 ms late 2');
  await visit.picture('faults');
  const answers = [];
  for (let i = 0; i < 4; i += 1) {
    answers.push(await post(gateway.url, seeded[i]));
  }
  assert.deepEqual(answers, [503, 503, 503, 200]);
  await visit.hasText('answer 5 ms late 1');
  await page.click('text=Remove all');
  await visit.hasText('No fault waits');
  assert.deepEqual(await gateway.json('api/faults'), []);
}

async function settings(visit, { start, folder }) {
  const { page } = visit;
  const place = folder('settings');
  const gateway = await start(place); // to make the folder
  await visit.allow('404');
  await visit.open(gateway, 'settings');
  await visit.hasText('gateway --config settings.json');

  const file = `${place}-file.json`;
  writeFileSync(file, '{\n  "flush_time": 120\n}\n');
  const serving = await start(join(place, 'serving'), ['--config', file]);
  await visit.open(serving, 'settings');
  await visit.hasText('The settings are in order.');
  await page.fill('#settings-text', '{\n  "flush_time": 120,\n  "terminate_time": 3600\n}\n');
  await visit.hasText('line 3 error: "terminate_time" is out of range: 3600. Its range is 2 to 30');
  assert.ok(await page.isDisabled('text=Serve these settings'));
  await visit.picture('settings');
  await page.fill('#settings-text', '{\n  "terminate_time": 20\n}\n');
  await visit.hasText('The settings are in order.');
  await page.click('text=Serve these settings');
  await visit.hasText('served since');
  assert.equal(readFileSync(file, 'utf8'), '{\n  "terminate_time": 20\n}\n');
  assert.deepEqual(await serving.json('configserver/?N=a&V=1&P=x'), { terminate_time: 20 });

  // Somebody else has changed the file: nothing of theirs is lost.
  writeFileSync(file, '{"pause_time": 3}');
  await page.fill('#settings-text', '{}');
  await visit.hasText('The settings are in order.');
  visit.allow('409');
  await page.click('text=Serve these settings');
  await visit.hasText('changed by somebody else');
  assert.equal(readFileSync(file, 'utf8'), '{"pause_time": 3}');
  await page.click('text=Read the file again');
  await until('the file', async () => (await page.inputValue('#settings-text')) === '{"pause_time": 3}');
}

// A page that loses its gateway says so, and finds the next one.
async function lostGateway(visit, { start, folder, seeded }) {
  const gateway = await start(folder('lost'));
  await postAll(gateway.url, seeded.slice(0, 2), 1);
  await visit.open(gateway);
  await visit.isConnected();
  visit.allow('ERR_');
  await gateway.stop();
  await visit.hasText('not connected', '#connection');
  await visit.hasText('#2'); // what had arrived stays

  const next = await start(folder('next'), [], new URL(gateway.url).port);
  await post(next.url, seeded[2]);
  await visit.isConnected();
  await until('only the new record', async () =>
    (await visit.rows('Newest first')).every((row) => row[1] === '#1'));
}

export const liveJourneys = { arrivals, 'one-record': oneRecord, faults, settings, 'lost-gateway': lostGateway };
