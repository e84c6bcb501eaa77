// Records as the library uploads them, the same at every run: two products, some weeks of sessions
// with places, commands, properties, errors and counters.
import { gzipSync } from 'node:zlib';

export const kProduct = 'Quendel Writer';
export const kOtherProduct = 'Quendel Sketch';
const kHeaders = {
  'Content-Type': 'application/json; charset=utf-8',
  'Content-Encoding': 'gzip',
  'X-Compressed': 'true',
  'X-SDKVersion': '2.8.2.1187559',
};
const kDay = 86400000;
export const kBegin = Date.UTC(2026, 8, 28); // a Monday
export const kDays = 42;

// xorshift32: numbers in [0, 1) that depend on the seed only.
export function randomOf(seed) {
  let state = seed >>> 0 || 1;
  return () => {
    state ^= state << 13;
    state ^= state >>> 17;
    state ^= state << 5;
    return (state >>> 0) / 4294967296;
  };
}

const digits = (random, count) =>
  Array.from({ length: count }, () => Math.floor(random() * 16).toString(16)).join('');
const uuid = (random) => [8, 4, 4, 4, 12].map((count) => digits(random, count)).join('-');
// Earlier items are more frequent.
const pick = (random, items) => items[Math.floor(random() ** 2 * items.length)];

const kCommands = ['Paste', 'Copy', 'Bold', 'Undo', 'Save', 'Insert Table', 'Spell Check', 'Print', 'Export'];
const kPlaces = ['Editor', 'Start', 'Options', 'Print Preview', 'Template Gallery'];
const kFormats = ['qwd', 'docx', 'odt', 'pdf', 'rtf', 'html'];
const kLanguages = ['en_US', 'de_DE', 'fr_FR', 'ja_JP', 'pt_BR', 'nl_NL'];
const kSystems = [['10.0', '19045'], ['10.0', '22631'], ['6.3', '9600']];
const kErrors = ['IO-7', 'FONT-MISSING', 'PRINT-3', 'MEM-1'];

function eventOf(random, session, time) {
  const t = new Date(time).toISOString();
  const head = { t, s: session };
  const dice = random();
  if (dice < 0.34) {
    return { ...head, m: 'std-Cmd', v: { 'std-Name': pick(random, kCommands) } };
  }
  if (dice < 0.5) {
    return { ...head, g: pick(random, kPlaces) };
  }
  if (dice < 0.72) {
    return { ...head, m: 'DocumentOpened', v: {
      Format: pick(random, kFormats), Pages: 1 + Math.floor(random() ** 3 * 240),
      'Load Seconds': Math.round(random() ** 2 * 4000) / 1000 } };
  }
  if (dice < 0.86) {
    return { ...head, m: 'DocumentSaved', v: { Format: pick(random, kFormats), Bytes: Math.floor(random() * 1e6) } };
  }
  if (dice < 0.97) {
    return { ...head, m: 'SearchUsed', v: { Hits: Math.floor(random() * 60), Scope: pick(random, ['document', 'folder', 'web']) } };
  }
  return null;
}

function errorOf(random, session, time, places, commands) {
  return { t: new Date(time).toISOString(), s: session, m: 'std-Error', v: {
    'std-ErrCode': pick(random, kErrors), 'std-ErrMsg': 'cannot read the file',
    'std-Trace': [{ 'std-Loc': 'reader.cpp:214', 'std-Lib': 'quendel.dll' }, { 'std-Loc': 'main.cpp:31' }],
    'std-Place': places.slice(-10), 'std-Cmd': commands.slice(-10) } };
}

// The record of one session with about `size` events.
export function record(random, { product, version, endpoint, language, system, begin, size }) {
  const session = uuid(random);
  const events = [{ t: new Date(begin).toISOString(), s: session, g: '$b' }];
  const places = [];
  const commands = [];
  let time = begin;
  for (let i = 0; i < size; i += 1) {
    time += 500 + Math.floor(random() ** 3 * 120000);
    const event = eventOf(random, session, time) ?? errorOf(random, session, time, places, commands);
    if (event.g) {
      places.push(event.g);
    } else if (event.m === 'std-Cmd') {
      commands.push(event.v['std-Name']);
    }
    events.push(event);
  }
  events.push({ t: new Date(time + 1000).toISOString(), s: session, m: 'Menu', v: { Open: 3, Close: 2 } });
  events.push({ t: new Date(time + 1000).toISOString(), s: session, g: '$e' });
  return {
    pn: product, pv: version, pp: 'wntx64', sv: '2.8.2.1187559', tv: 3, ep: endpoint, pt: {},
    pe: { 'std-AppLanguage': language, 'std-FullVersion': `${version}.0.118`, 'std-OptOut': 'false',
          'std-Incremental': 'false', t: events[0].t },
    ce: { t: events[0].t, OsArch: 'x86_64', OsBuildNumber: system[1], OsLocale: language, OsName: 'Windows',
          OsVersion: system[0] },
    rt: events,
  };
}

function endpointsOf(random, count) {
  return Array.from({ length: count }, () => ({
    endpoint: `02X${digits(random, 37)}`, language: pick(random, kLanguages),
    system: pick(random, kSystems), firstDay: Math.floor(random() ** 1.6 * (kDays - 4)),
    isLoyal: random() < 0.55 }));
}

// `count` records in order of time.
export function records(count, { seed = 7, size = 18 } = {}) {
  const random = randomOf(seed);
  const endpoints = endpointsOf(random, Math.max(20, Math.floor(count / 8)));
  const list = [];
  for (let i = 0; i < count; i += 1) {
    const who = endpoints[Math.floor(random() * endpoints.length)];
    const days = who.isLoyal ? kDays - who.firstDay : Math.min(6, kDays - who.firstDay);
    const day = who.firstDay + Math.floor(random() * days);
    const begin = kBegin + day * kDay + Math.floor((7 + 11 * (random() + random()) / 2) * 3600000);
    list.push(record(random, {
      product: random() < 0.8 ? kProduct : kOtherProduct,
      version: day < 14 ? '4.1' : pick(random, ['4.2', '4.1', '4.0']),
      endpoint: who.endpoint, language: who.language, system: who.system, begin,
      size: Math.max(3, Math.floor(size * (0.4 + random()))) }));
  }
  return list.sort((a, b) => (a.rt[0].t < b.rt[0].t ? -1 : 1));
}

export async function post(url, text, headers = {}) {
  const body = gzipSync(typeof text === 'string' ? text : JSON.stringify(text), { level: 1 });
  const response = await fetch(`${url}tavgateway/`, { method: 'POST', body, headers: { ...kHeaders, ...headers } });
  await response.arrayBuffer();
  return response.status;
}

// Posts all of them, some at a time. Throws unless each is answered 200.
export async function postAll(url, list, atOnce = 16) {
  let next = 0;
  const work = async () => {
    while (next < list.length) {
      const status = await post(url, list[next++]);
      if (status !== 200) {
        throw new Error(`a record was answered ${status}`);
      }
    }
  };
  await Promise.all(Array.from({ length: atOnce }, work));
}
