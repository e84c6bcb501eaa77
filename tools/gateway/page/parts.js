// The parts that views are made of: panels with their states, tables, bars and labelled fields.
import { h, replace, restoreFocus, arrived } from './dom.js';
import { share, whole } from './format.js';

let lastId = 0;
const uniqueId = (prefix) => `${prefix}-${(lastId += 1)}`;

// The same for the same words, so that a control that is made anew can get the focus back.
const idOf = (...words) => words.join('-').toLowerCase().replace(/[^a-z0-9]+/g, '-');

export const empty = (text, ...more) => h('div', { class: 'empty' }, h('p', {}, text), ...more);

export function failure(error, retry) {
  return h('div', { class: 'failure', role: 'alert' },
    h('p', {}, error.message),
    retry && h('button', { type: 'button', onclick: retry }, 'Try again'));
}

// A titled box. Its `body` shows the result of `load(signal)`, which returns nodes; while it runs
// the panel says so, and a failure offers to try again.
export class Panel {
  #title;
  #note = h('span', { class: 'note' });
  body = h('div', { class: 'body' });

  constructor(title, attributes = {}) {
    const id = uniqueId('panel');
    this.#title = h('h2', { id }, title);
    this.element = h('section', { 'aria-labelledby': id, ...attributes,
                                  class: `panel ${attributes.class ?? ''}` },
      h('div', { class: 'panel-head' }, this.#title, this.#note), this.body);
  }

  title(text) {
    this.#title.textContent = text;
  }

  note(text) {
    this.#note.textContent = text;
  }

  async load(signal, load) {
    this.element.setAttribute('aria-busy', 'true');
    this.body.classList.add('busy');
    if (!this.body.hasChildNodes()) {
      replace(this.body, h('p', { class: 'waiting' }, 'Asking the store …'));
    }
    try {
      const content = await load();
      if (!signal.aborted) {
        replace(this.body, content);
        restoreFocus();
      }
    } catch (error) {
      if (!signal.aborted) {
        replace(this.body, failure(error, () => this.load(signal, load)));
      }
    } finally {
      this.element.removeAttribute('aria-busy');
      this.body.classList.remove('busy');
    }
  }
}

// columns: [{title, cell(row) -> node or text, number: true for right-aligned}]
export function table(caption, columns, rows, attributes = {}) {
  const heads = columns.map(({ title, number }) =>
    h('th', { scope: 'col', class: number && 'number' }, title));
  const lines = rows.map((row) => h('tr', { 'aria-current': attributes.isCurrent?.(row) && 'true' },
    columns.map(({ cell, number, kind }) => h('td', { class: kind ?? (number && 'number') },
                                              cell(row)))));
  return h('div', { class: 'scroll' }, h('table', {},
    h('caption', { class: 'hidden' }, caption),
    h('thead', {}, h('tr', {}, heads)), h('tbody', {}, lines)));
}

// A part of 1 as a bar. Its width is set through the object model, which the policy allows.
export function bar(part, label) {
  const fill = h('span', { class: 'bar-fill' });
  fill.style.width = `${Math.max(0, Math.min(100, 100 * part)).toFixed(2)}%`;
  return h('span', { class: 'bar', title: label, 'aria-hidden': 'true' }, fill);
}

// A list of values with a bar for each one's share.
export function barTable(caption, { title, unit, rows, value, count }) {
  const total = rows.reduce((sum, row) => sum + count(row), 0);
  const most = rows.reduce((max, row) => Math.max(max, count(row)), 0);
  return table(caption, [
    { title, cell: (row) => arrived(value(row)) },
    { title: unit, number: true, cell: (row) => whole(count(row)) },
    { title: 'share', number: true, cell: (row) => share(count(row), total) },
    { title: '', kind: 'bar-cell', cell: (row) => bar(most ? count(row) / most : 0) },
  ], rows);
}

export function field(label, control) {
  control.id ||= idOf('field', label);
  return h('div', { class: 'field' }, h('label', { for: control.id }, label), control);
}

// options: [[value, text]]
export function select(options, chosen, onchange) {
  const control = h('select', { onchange: () => onchange?.(control.value) },
    options.map(([value, text]) => h('option', { value }, text)));
  control.value = chosen;
  return control;
}

// Links of which one is the current choice.
export function choice(label, options) {
  return h('div', { class: 'choice', role: 'group', 'aria-label': label },
    options.map(({ text, address, isCurrent }) =>
      h('a', { id: idOf(label, text), href: address, 'aria-current': isCurrent && 'true' }, text)));
}

export const facts = (pairs) => h('dl', { class: 'facts' },
  pairs.map(([name, value]) => h('div', {}, h('dt', {}, name), h('dd', {}, value))));
