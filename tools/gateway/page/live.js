// The events and records as they arrive, and the ledger of all that arrived.
import { h, replace, throttle } from './dom.js';
import { link, remember } from './address.js';
import { Panel, choice, empty, field, table } from './parts.js';
import { getJson } from './client.js';
import { bytes, plural, whole } from './format.js';
import {
  kEventColumns, kFilters, kRecordColumns, newestEvents, newestRecords,
} from './arrival.js';

export const title = 'Arrivals';

const kShown = 200;
const kDrawTime = 250;      // ms between two changes of the list
const kLedgerTime = 1000;   // ms between two requests for the ledger
const kIdleTime = 5000;     // the same while nothing arrives
const kSuggestions = 50;

const kEntries = [
  ['records', 'records', whole],
  ['events', 'events', whole],
  ['sessions', 'sessions', whole],
  ['bad_records', 'bad records', whole],
  ['doubled_records', 'doubled records', whole],
  ['refused', 'refused', whole],
  ['bytes_compressed', 'on the wire', bytes],
  ['bytes_expanded', 'as text', bytes],
  ['requests', 'requests', whole],
  ['configuration_requests', 'of them for settings', whole],
  ['connections', 'connections', whole],
];
const kWarnings = new Set(['bad_records', 'refused']);

function ledger(summary) {
  return h('dl', { class: 'ledger' }, kEntries.map(([key, label, format]) =>
    h('div', { class: kWarnings.has(key) && summary[key] > 0 ? 'warning' : '' },
      h('dt', {}, label), h('dd', { 'data-entry': key }, format(summary[key])))));
}

const firstSteps = () => empty('Nothing has arrived yet. Point an application at this gateway:',
  h('pre', {}, `TAV_GATEWAY=${location.origin}/\nTAV_CONFIGURATOR=${location.origin}/configserver/`),
  h('p', {}, 'Events appear here when the library sends them; by default within five minutes, at the latest when the application ends. If uploads have a port of their own, use that one.'));

// The distinct values of a filter among what is in memory, as suggestions.
function suggestions(records, name) {
  const values = new Set();
  for (let i = records.length - 1; i >= 0 && values.size < kSuggestions; i -= 1) {
    const sources = name === 'session' || name === 'name' ? records[i].list ?? [] : [records[i]];
    for (const source of sources) {
      if (source[name] && source[name].length <= 100) {
        values.add(source[name]);
      }
    }
  }
  return [...values].slice(0, kSuggestions);
}

class LiveView {
  #state;
  #arrivals;
  #isPaused = false;
  #shown = [];
  #isEnded = false;
  #list = new Panel('Newest first', { class: 'wide' });
  #ledger = new Panel('Ledger', { class: 'wide' });
  #lists = {};

  constructor(main, state, arrivals) {
    this.#state = state;
    this.#arrivals = arrivals;
    this.#shown = arrivals.records;
    const draw = throttle(() => this.#draw(), kDrawTime);
    const count = throttle(() => this.#count(), kLedgerTime);
    const forget = arrivals.listen(() => {
      draw();
      count();
    });
    const timer = setInterval(count, kIdleTime);
    this.end = () => {
      this.#isEnded = true;
      forget();
      clearInterval(timer);
    };
    replace(main, h('h1', { tabindex: '-1' }, title), h('div', { class: 'panels' },
      this.#ledger.element, this.#filters(), this.#list.element));
    this.#draw();
    this.#count();
  }

  #filters() {
    const fields = kFilters.map((name) => {
      const list = h('datalist', { id: `seen-${name}` });
      this.#lists[name] = list;
      const control = h('input', { type: 'search', id: `filter-${name}`, list: list.id, autocomplete: 'off',
                                   value: this.#state[name] ?? '' });
      control.addEventListener('focus', () => replace(list,
        suggestions(this.#arrivals.records, name).map((value) => h('option', { value }))));
      control.addEventListener('input', () => this.#change({ [name]: control.value }));
      return [field(name[0].toUpperCase() + name.slice(1), control), list];
    });
    const pause = h('button', { type: 'button', id: 'pause', 'aria-pressed': 'false' }, 'Pause');
    pause.addEventListener('click', () => {
      this.#isPaused = !this.#isPaused;
      pause.setAttribute('aria-pressed', String(this.#isPaused));
      pause.textContent = this.#isPaused ? 'Go on' : 'Pause';
      this.#shown = this.#isPaused ? [...this.#arrivals.records] : this.#arrivals.records;
      this.#draw();
    });
    const form = h('form', { class: 'filters wide', role: 'search', 'aria-label': 'Filter' }, fields,
                   h('div', { class: 'field' }, pause));
    form.addEventListener('submit', (event) => event.preventDefault());
    return form;
  }

  #change(parts) {
    this.#state = { ...this.#state, ...parts };
    remember('live', this.#state);
    this.#draw();
  }

  #draw() {
    if (this.#isEnded) {
      return;
    }
    if (!this.#isPaused) {
      this.#shown = this.#arrivals.records;
    }
    const isRecords = this.#state.show === 'records';
    const rows = isRecords ? newestRecords(this.#shown, this.#state, kShown)
                           : newestEvents(this.#shown, this.#state, kShown);
    this.#list.note(this.#isPaused ? 'paused' : `${plural(rows.length, 'row')}${
      rows.length === kShown ? ', the newest' : ''}`);
    const focused = document.activeElement?.closest?.('.live-list a')?.getAttribute('href');
    replace(this.#list.body, this.#switch(isRecords), h('div', { class: 'live-list' },
      this.#rows(rows, isRecords)));
    if (focused) {
      // The list was drawn anew under the reader's focus.
      [...this.#list.body.querySelectorAll('a')].find((a) => a.getAttribute('href') === focused)?.focus();
    }
  }

  #switch(isRecords) {
    return choice('List', [
      { text: 'events', address: link('live', { ...this.#state, show: '' }), isCurrent: !isRecords },
      { text: 'records', address: link('live', { ...this.#state, show: 'records' }),
        isCurrent: isRecords },
    ]);
  }

  #rows(rows, isRecords) {
    if (this.#shown.length === 0) {
      return firstSteps();
    }
    if (rows.length === 0) {
      return empty('Nothing that arrived passes the filter.',
                   h('p', {}, h('a', { href: link('live', { show: this.#state.show }) },
                                'Remove the filter')));
    }
    return table(isRecords ? 'Records, newest first' : 'Events, newest first',
                 isRecords ? kRecordColumns : kEventColumns, rows);
  }

  async #count() {
    if (this.#isEnded) {
      return;
    }
    try {
      replace(this.#ledger.body, ledger(await getJson('api/summary')));
    } catch {
      // The state of the connection stands in the page's head; the last numbers stay.
    }
  }
}

export function show(main, state, { arrivals }) {
  return new LiveView(main, state, arrivals).end;
}
