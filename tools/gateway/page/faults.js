// The faults that wait for the next requests, and a form that adds one.
import { h, replace } from './dom.js';
import { getJson, send } from './client.js';
import { Panel, empty, failure, field, select, table } from './parts.js';
import { whole } from './format.js';

export const title = 'Faults';

const kPollTime = 1000; // ms; requests use faults up while the view is open

const kKinds = [
  ['status', 'answer with a status'], ['delay', 'answer late'], ['hang', 'never answer'],
  ['drop', 'close the connection'],
];

const kReady = [
  ['503 for the next 3 requests', { kind: 'status', status: 503, count: 3 }],
  ['The next answer 5 s late', { kind: 'delay', milliseconds: 5000, count: 1 }],
  ['Store the next record, lose the answer', { kind: 'drop', store: true, count: 1 }],
];

function describe(fault) {
  const what = {
    status: () => `answer ${fault.status}`,
    delay: () => `answer ${whole(fault.milliseconds)} ms late`,
    hang: () => 'never answer',
    drop: () => 'close the connection without an answer',
  }[fault.kind]();
  return fault.store ? `${what}, but keep the record` : what;
}

function numberField(label, value, min, max) {
  const control = h('input', { type: 'number', value, min, max, required: true, inputmode: 'numeric' });
  return { control, element: field(label, control) };
}

// The form's element; `add` takes the fault.
function faultForm(add) {
  const status = numberField('Status', 503, 200, 599);
  const delay = numberField('Delay in ms, at most 600,000', 2000, 0, 600000);
  const count = numberField('For how many requests', 3, 1, 1000000);
  const store = h('input', { type: 'checkbox', id: 'fault-store' });
  const storeField = h('div', { class: 'field check' }, store,
                       h('label', { for: 'fault-store' }, 'Keep the record all the same'));
  const kind = select(kKinds, 'status');
  kind.id = 'fault-kind';
  const update = () => {
    status.element.hidden = kind.value !== 'status';
    delay.element.hidden = kind.value !== 'delay';
    storeField.hidden = kind.value === 'delay';
    status.control.disabled = status.element.hidden;
    delay.control.disabled = delay.element.hidden;
  };
  kind.addEventListener('change', update);
  update();
  const form = h('form', { class: 'filters' }, field('What happens', kind), status.element,
    delay.element, count.element, storeField,
    h('div', { class: 'field' }, h('button', { class: 'main' }, 'Add the fault')));
  form.addEventListener('submit', (event) => {
    event.preventDefault();
    const fault = { kind: kind.value, count: count.control.valueAsNumber };
    if (kind.value === 'status') {
      fault.status = status.control.valueAsNumber;
    }
    if (kind.value === 'delay') {
      fault.milliseconds = delay.control.valueAsNumber;
    } else if (store.checked) {
      fault.store = true;
    }
    add(fault);
  });
  return form;
}

export function show(main) {
  const stop = new AbortController();
  const queue = new Panel('Waiting for the next requests', { class: 'wide' });
  const create = new Panel('Add a fault', { class: 'wide' });
  const message = h('div', { 'aria-live': 'polite' });
  const clear = h('button', { type: 'button', onclick: () => change('api/faults?replace=1', []) },
                  'Remove all');
  let last = '';

  const draw = (faults) => {
    const text = JSON.stringify(faults);
    if (text === last || stop.signal.aborted) {
      return;
    }
    last = text;
    clear.disabled = faults.length === 0;
    replace(queue.body, faults.length === 0
      ? empty('No fault waits: every request is answered normally.')
      : table('Faults in their order', [
        { title: 'fault', cell: describe },
        { title: 'requests left', number: true, cell: ({ count }) => whole(count) },
      ], faults), clear);
  };
  const change = async (path, value) => {
    try {
      draw(await send('POST', path, JSON.stringify(value)));
      replace(message);
    } catch (error) {
      replace(message, failure(error));
    }
  };
  const poll = async () => {
    try {
      draw(await getJson('api/faults', stop.signal));
    } catch (error) {
      if (!stop.signal.aborted && last === '') {
        replace(queue.body, failure(error, poll));
      }
    }
  };

  const add = (fault) => change('api/faults', fault);
  replace(create.body,
    h('p', { class: 'buttons' }, kReady.map(([text, fault]) =>
      h('button', { type: 'button', onclick: () => add(fault) }, text))),
    faultForm(add), message);
  replace(main, h('h1', { tabindex: '-1' }, title),
    h('p', { class: 'lead' }, 'A fault applies to uploads and to requests for settings, in the order of the list. This page and its API are not affected.'),
    h('div', { class: 'panels' }, create.element, queue.element));
  poll();
  const timer = setInterval(poll, kPollTime);
  return () => {
    stop.abort();
    clearInterval(timer);
  };
}
