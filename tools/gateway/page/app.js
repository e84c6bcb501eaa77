// Starts the page: the navigation, and the view that the address names.
import { h, keepFocus, replace } from './dom.js';
import { current, link, scope } from './address.js';
import { failure } from './parts.js';
import { Arrivals } from './stream.js';
import * as live from './live.js';
import * as record from './record.js';
import * as faults from './faults.js';
import * as settings from './settings.js';
import { explore } from './explore.js';
import * as overview from './overview.js';
import * as event from './event.js';
import * as sessions from './sessions.js';
import * as session from './session.js';
import * as errors from './errors.js';
import * as environments from './environments.js';
import * as retention from './retention.js';

// A view has a title and show(main, state, context), which returns a function that ends it, or nothing.
const kViews = {
  live,
  faults,
  settings,
  overview: explore('overview', overview),
  sessions: explore('sessions', sessions),
  errors: explore('errors', errors),
  environments: explore('environments', environments),
  retention: explore('retention', retention),
  // Reached by links of others.
  record,
  event: explore('event', event),
  session: explore('session', session),
};

const kGroups = [
  ['Live', ['live', 'faults', 'settings']],
  ['Explore', ['overview', 'sessions', 'errors', 'environments', 'retention']],
];

// These are not about the store: their addresses have no selection.
const kStoreless = new Set(['live', 'faults', 'settings', 'record']);

// The entry of the navigation that a view without one belongs to.
const kParents = { event: 'overview', session: 'sessions' };

const arrivals = new Arrivals();
const main = document.getElementById('main');
let end = null;     // of the shown view
let shown = null;   // its name

function showNavigation(view, state) {
  const entry = kParents[view] ?? view;
  replace(document.getElementById('nav'), kGroups.map(([title, names]) =>
    h('div', { class: 'nav-group' }, h('span', { class: 'nav-title' }, title),
      h('ul', { 'aria-label': title }, names.map((name) => h('li', {}, h('a', {
        href: link(name, title === 'Explore' ? scope(state) : {}),
        'aria-current': name === entry && 'page',
      }, kViews[name].title)))))));
}

function show() {
  const { view, state } = current();
  const name = Object.hasOwn(kViews, view) ? view : 'live';
  const isFirst = shown === null;
  const isOther = name !== shown;
  end?.();
  end = null;
  // The selection stays in the links to the store's views while other views are shown.
  const shared = scope(state);
  if (Object.values(shared).some(Boolean)) {
    sessionStorage.setItem('scope', JSON.stringify(shared));
  }
  const remembered = JSON.parse(sessionStorage.getItem('scope') ?? '{}');
  showNavigation(name, kStoreless.has(name) ? remembered : state);
  document.title = `${kViews[name].title} · Tav gateway`;
  shown = name;
  if (isOther) {
    main.replaceChildren();
  }
  try {
    keepFocus(() => {
      end = kViews[name].show(main, state, { arrivals }) ?? null;
    });
  } catch (error) {
    replace(main, failure(error, show));
  }
  if (isOther) {
    scrollTo(0, 0);
    if (!isFirst) {
      main.querySelector('h1')?.focus({ preventScroll: true });
    }
  }
}

function showConnection() {
  const connection = document.getElementById('connection');
  connection.dataset.state = arrivals.state;
  connection.textContent = { waiting: 'connecting', open: 'connected',
                             lost: 'not connected' }[arrivals.state];
}

// The skip link must not become the address of a view.
document.getElementById('skip').addEventListener('click', (click) => {
  click.preventDefault();
  main.focus();
});
addEventListener('hashchange', show);
arrivals.listen(showConnection);
arrivals.start();
show();
