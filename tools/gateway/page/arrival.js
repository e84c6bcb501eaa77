// Records and events of the live list: what they are, which a filter selects, and their rows.
import { h, arrived } from './dom.js';
import { link } from './address.js';
import { bytes, clock, clockOf, plural, whole } from './format.js';
import { properties } from './session.js';

// Maps, because names that arrive may be those of an object's own members.
const kMarkers = new Map([['$b', 'begin'], ['$e', 'end'], ['$i', 'idle']]);
const kNames = new Map([['std-Cmd', 'command'], ['std-Error', 'error']]);

// Events of a component carry its name and an underscore before their own names.
function plainName(name, component) {
  return component && name.startsWith(`${component}_`) ? name.slice(component.length + 1) : name;
}

function kindOf({ g: marker, m: name }, component) {
  if (marker !== undefined) {
    return kMarkers.get(marker) ?? 'place';
  }
  return kNames.get(plainName(String(name), component)) ?? 'event';
}

// A command is known by its own name.
function nameOf(event, kind) {
  const own = kind === 'command' ? event.v?.['std-Name'] : undefined;
  return String(own ?? event.m ?? event.g ?? '');
}

// The events that a live record carries, oldest first.
export function eventsOf(record) {
  if (!record.list) {
    record.list = record.rt.map((event) => {
      const kind = kindOf(event ?? {}, record.component);
      return { record, kind, name: nameOf(event ?? {}, kind), session: String(event?.s ?? ''),
               time: event?.t, properties: event?.v };
    });
    if (record.left_out > 0) {
      // The gateway bounds what it announces of a record.
      record.list.push({ record, kind: '…', session: '',
                         name: `${plural(record.left_out, 'further event')} in record ${record.number}` });
    }
  }
  return record.list;
}

export const kFilters = ['product', 'version', 'session', 'component', 'name'];

const contains = (text, part) => !part || String(text).toLowerCase().includes(part.toLowerCase());

const passesRecord = (record, filter) => contains(record.product, filter.product)
  && contains(record.version, filter.version) && contains(record.component, filter.component);

const passesEvent = (event, filter) =>
  contains(event.session, filter.session) && contains(event.name, filter.name);

// The newest events that the filter selects, newest first.
export function newestEvents(records, filter, limit) {
  const found = [];
  for (let i = records.length - 1; i >= 0 && found.length < limit; i -= 1) {
    if (passesRecord(records[i], filter)) {
      const events = eventsOf(records[i]);
      for (let j = events.length - 1; j >= 0 && found.length < limit; j -= 1) {
        if (passesEvent(events[j], filter)) {
          found.push(events[j]);
        }
      }
    }
  }
  return found;
}

export function newestRecords(records, filter, limit) {
  const found = [];
  for (let i = records.length - 1; i >= 0 && found.length < limit; i -= 1) {
    const hasEvent = !(filter.session || filter.name)
      || eventsOf(records[i]).some((event) => passesEvent(event, filter));
    if (passesRecord(records[i], filter) && hasEvent) {
      found.push(records[i]);
    }
  }
  return found;
}

const recordLink = (record) => h('a', { href: link('record', { number: record.number, digest: record.sha256 }),
                                        'aria-label': `record ${record.number}` }, `#${record.number}`);

const productOf = (record) => [arrived(record.product, 40), ' ',
                               h('span', { class: 'soft' }, arrived(record.version, 20))];

export const kEventColumns = [
  { title: 'time', kind: 'time', cell: (event) => clockOf(event.time) },
  { title: 'record', cell: ({ record }) => recordLink(record) },
  { title: 'product', kind: 'whole', cell: ({ record }) => productOf(record) },
  { title: 'session', kind: 'whole', cell: (event) => h('span', { class: 'id', title: event.session },
                                         event.session.slice(0, 8)) },
  { title: 'kind', cell: (event) => h('span', { class: `kind ${event.kind}` }, event.kind) },
  { title: 'name', cell: (event) => arrived(event.name, 80) },
  { title: 'properties', cell: (event) => properties(event.properties) },
];

function verdict(record) {
  const problems = record.problems.length;
  return [
    problems > 0 ? h('span', { class: 'bad' }, plural(problems, 'problem'))
                 : h('span', { class: 'good' }, 'good'),
    record.double_of && h('span', { class: 'soft' }, ` double of #${record.double_of}`),
  ];
}

export const kRecordColumns = [
  { title: 'arrived (UTC)', kind: 'time', cell: (record) => clock(Date.parse(record.arrived)) },
  { title: 'record', cell: recordLink },
  { title: 'product', kind: 'whole', cell: productOf },
  { title: 'component', cell: (record) => arrived(record.component, 40) },
  { title: 'events', number: true, cell: (record) => whole(record.events) },
  { title: 'sent', number: true, cell: (record) => bytes(record.compressed) },
  { title: 'text', number: true, cell: (record) => bytes(record.expanded) },
  { title: 'checks', cell: verdict },
];
