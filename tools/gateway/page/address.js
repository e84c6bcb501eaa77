// The state of the page is its address: `#view?name=value&…`. Every view and selection is a link.

export function parse(hash) {
  const text = hash.replace(/^#/, '');
  const question = text.indexOf('?');
  const view = question < 0 ? text : text.slice(0, question);
  const state = {};
  for (const [name, value] of new URLSearchParams(question < 0 ? '' : text.slice(question + 1))) {
    state[name] = value;
  }
  return { view, state };
}

export const current = () => parse(location.hash);

export function link(view, state = {}) {
  const query = new URLSearchParams();
  for (const [name, value] of Object.entries(state)) {
    if (value !== undefined && value !== null && value !== '') {
      query.set(name, value);
    }
  }
  const text = query.toString();
  return `#${view}${text ? `?${text}` : ''}`;
}

// Goes to another state: a step in the browser's history.
export function go(view, state) {
  location.hash = link(view, state);
}

// Keeps the address in step with what is typed, without a step in the history and without a new view.
export function remember(view, state) {
  history.replaceState(null, '', link(view, state));
}

// The part of a state that all views of the store share.
export const scope = ({ product, version, from, to }) => ({ product, version, from, to });
