// One record: where it came from, what the checks found, its headers and its text.
import { h, replace, arrived, visible } from './dom.js';
import { RequestError, ask, getJson, getText } from './client.js';
import { link } from './address.js';
import { Panel, empty, facts, failure, table } from './parts.js';
import { bytes, moment, plural, whole } from './format.js';

export const title = 'Record';

const kShownText = 200000; // characters; a record may have millions

function checks({ problems, double_of: doubleOf }) {
  const panel = new Panel('Checks', { class: 'wide' });
  panel.note(problems.length === 0 ? '' : plural(problems.length, 'problem'));
  replace(panel.body,
    problems.length === 0
      ? h('p', { class: 'good' }, 'The request and the record follow the format.')
      : h('ul', { class: 'problems' }, problems.map((problem) => h('li', {}, arrived(problem, 2000)))),
    doubleOf && h('p', {}, 'Its text is the same as that of ',
      h('a', { href: link('record', { number: doubleOf }) }, `record ${doubleOf}`), '.'));
  return panel.element;
}

function headers(values) {
  const panel = new Panel('Headers', { class: 'wide' });
  const rows = Object.entries(values);
  replace(panel.body, rows.length === 0 ? empty('None of the headers that the gateway keeps.')
    : table('Headers of the request', [
      { title: 'header', cell: ([name]) => h('span', { class: 'id' }, arrived(name, 80)) },
      { title: 'value', cell: ([, value]) => arrived(value, 400) },
    ], rows));
  return panel.element;
}

function text(content, address) {
  const panel = new Panel('Text', { class: 'wide' });
  panel.note(content.length > kShownText ? `the first ${whole(kShownText)} characters` : '');
  replace(panel.body,
    h('pre', { class: 'record-text', tabindex: '0', 'aria-label': 'Text of the record' },
      visible(content.slice(0, kShownText))),
    address && h('p', {}, h('a', { href: address }, 'As it arrived')));
  return panel.element;
}

// Indented without changing keys or numbers: a parser in between could spell both anew.
function indent(source) {
  try {
    JSON.parse(source);
  } catch {
    return source;
  }
  let depth = 0;
  return source.replace(/"(?:[^"\\]|\\.)*"|[{[]\s*[}\]]|[{}[\],:]|\s+/g, (token) => {
    const line = (levels) => `\n${'  '.repeat(Math.max(0, levels))}`;
    switch (token) {
      case '{': case '[': depth += 1; return token + line(depth);
      case '}': case ']': depth -= 1; return line(depth) + token;
      case ',': return token + line(depth);
      case ':': return ': ';
      default: return /^\s/.test(token) ? '' : token;
    }
  });
}

// Numbers begin at 1 with each start of the gateway. A link with the digest as well means the record
// of that digest, whatever its number is now.
async function fromMemory(number, digest, signal) {
  const address = `api/records/${number}`;
  const record = await getJson(`${address}?body=0`, signal);
  if (digest && digest !== record.sha256) {
    throw new RequestError(404, 'another record');
  }
  const content = await getText(`${address}/text`, signal);
  return [
    facts([
      ['arrived (UTC)', moment(Date.parse(record.arrived))],
      ['path', arrived(record.path, 200)],
      ['events', whole(record.events)],
      ['on the wire', bytes(record.compressed)],
      ['as text', bytes(record.expanded)],
      ['SHA-256 of the text', h('span', { class: 'id' }, record.sha256)],
    ]),
    checks(record), headers(record.headers), text(indent(content), `${address}/text`),
  ];
}

async function fromStore(digest, signal) {
  const { rows } = await ask('record', { digest }, signal);
  const [record] = rows;
  return [
    facts([
      ['arrived (UTC)', moment(record.arrived)],
      ['product', arrived(record.product)],
      ['version', arrived(record.version)],
      ['endpoint', h('span', { class: 'id' }, arrived(record.endpoint))],
      ['as text', bytes(new Blob([record.text]).size)],
      ['SHA-256 of the text', h('span', { class: 'id' }, record.digest)],
    ]),
    checks(record), headers(record.headers), text(indent(record.text)),
  ];
}

async function find({ number, digest }, signal) {
  if (!/^[1-9]\d{0,15}$/.test(number ?? '')) {
    return fromStore(digest ?? '', signal);
  }
  try {
    return await fromMemory(Number(number), digest, signal);
  } catch (error) {
    if (error.status === 404 && digest) {
      return fromStore(digest, signal);
    }
    throw error;
  }
}

const gone = () => empty('The gateway no longer has this record.',
                         h('a', { href: link('live') }, 'What has arrived'));

export function show(main, { number, digest }) {
  const stop = new AbortController();
  const place = h('div', { class: 'panels' }, h('p', { class: 'waiting' }, 'Reading the record …'));
  const heading = number ? `Record ${number}` : `Record ${String(digest ?? '').slice(0, 8)}`;
  replace(main, h('h1', { tabindex: '-1' }, heading), place);
  const run = async () => {
    try {
      replace(place, await find({ number, digest }, stop.signal));
    } catch (error) {
      if (!stop.signal.aborted) {
        replace(place, error.status === 404 ? gone() : failure(error, run));
      }
    }
  };
  run();
  return () => stop.abort();
}
