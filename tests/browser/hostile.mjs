// A record whose every text tries to be something else: markup, script, marks that turn text round,
// escapes, very long text. It is shown as what it is, in every view, and nothing of it runs.
import assert from 'node:assert/strict';
import { post, record, randomOf } from './seed.mjs';

const kMarkup = '<img src=x onerror="window.ran=1"><script>window.ran=1</script>';
const kTurned = 'invoice\u202egpj.exe\u2066\u200f';
const kEscapes = '\\u0000 %00 &lt;b&gt; ${window.ran=1} {{ran}} \' " ` javascript:window.ran=1';
const kLong = 'x'.repeat(100 * 1024);
const kPrototype = '__proto__';

function hostileRecord() {
  const session = '01234567-89ab-4def-8123-456789abcdef';
  const made = record(randomOf(3), {
    product: kMarkup, version: kTurned, endpoint: '<b>endpoint</b>', language: kMarkup,
    system: ['<i>10</i>', kTurned], begin: Date.UTC(2026, 9, 1, 9), size: 3 });
  const at = (second) => new Date(Date.UTC(2026, 9, 1, 9, 0, second)).toISOString();
  made.rt = [
    { t: at(0), s: session, g: '$b' },
    { t: at(1), s: session, g: kMarkup },
    { t: at(2), s: session, m: kMarkup, v: { [kMarkup]: kMarkup, [kTurned]: kEscapes, long: kLong } },
    { t: at(3), s: session, m: kTurned, v: JSON.parse(`{"${kPrototype}": "polluted", "constructor": 1}`) },
    { t: at(4), s: session, m: 'std-Cmd', v: { 'std-Name': kEscapes } },
    { t: at(5), s: session, m: kLong, v: { n: 1e308 } },
    { t: at(6), s: session, m: 'std-Error', v: { 'std-ErrCode': kMarkup, 'std-ErrMsg': kEscapes,
      'std-Trace': [{ 'std-Loc': kMarkup, 'std-Lib': kTurned, 'std-Meta': kEscapes }],
      'std-Place': [kMarkup], 'std-Cmd': [kEscapes] } },
  ];
  return { made, session };
}

// Nothing ran, and no element was made of the text.
async function isHarmless(visit) {
  const found = await visit.page.evaluate(() => ({
    ran: window.ran ?? null,
    polluted: {}.polluted ?? null,
    made: document.querySelectorAll('main img, main script, main b, main i, main iframe').length,
    // Marks that turn the text around them are spelled out.
    turning: /[\u202a-\u202e\u2066-\u2069\u200f]/.test(document.body.innerText),
    width: document.documentElement.scrollWidth - document.documentElement.clientWidth,
  }));
  assert.deepEqual(found, { ran: null, polluted: null, made: 0, turning: false, width: 0 },
                   visit.page.url());
}

async function hostile(visit, { start, folder, storeOption }) {
  const { page } = visit;
  const gateway = await start(folder('hostile'), storeOption);
  await visit.open(gateway);
  const { made, session } = hostileRecord();
  assert.equal(await post(gateway.url, made), 200);
  await page.waitForSelector('text=#1');
  await visit.hasText('<img src=x onerror=');
  await visit.hasText('2 further events in record 1');
  await visit.hasText('invoice\u27e8U+202E\u27e9gpj.exe');
  await isHarmless(visit);
  await visit.hasText('records 1 events');
  await visit.picture('hostile');

  const product = encodeURIComponent(kMarkup);
  const name = encodeURIComponent(kMarkup);
  for (const [address, text] of [
    ['live?show=records', '<img src=x'],
    ['record?number=1', '<script>window.ran=1</script>'],
    [`overview?product=${product}`, '<img src=x'],
    [`event?product=${product}&name=${name}&property=${name}`, '<img src=x'],
    [`event?product=${product}&name=${encodeURIComponent(kTurned)}`, 'U+202E'],
    [`event?product=${product}&name=${name}&property=long`, 'xxxxxxxxxx'],
    [`sessions?product=${product}`, '2026-10-01 09:00:00'],
    [`session?product=${product}&session=${session}`, '<img src=x'],
    [`errors?product=${product}`, '<img src=x'],
    [`environments?product=${product}`, '<img src=x'],
    [`retention?product=${product}`, '2026-09-28'],
  ]) {
    await visit.open(gateway, address);
    await visit.hasText(text);
    await isHarmless(visit);
  }

  // Addresses are hostile as well: anybody can send a link.
  for (const address of [`event?product=${product}&name=${kPrototype}`, 'record?number=1e9', 'record?digest=../x',
                         '__proto__', 'constructor?a=b', `live?name=${name}&show=${name}`,
                         `session?session=${name}`, 'overview?from=x&to=<b>&step=__proto__&kind=a']) {
    visit.allow('400');
    visit.allow('404');
    await visit.open(gateway, address);
    await isHarmless(visit);
  }
}

export const hostileJourneys = { hostile };
