// Builds elements. Everything that arrived at the gateway was written by somebody else and may be
// hostile, so text enters the document as text nodes only; nothing here parses markup.

const kSvg = 'http://www.w3.org/2000/svg';

// Properties that are set as such and not as attributes.
const kProperties = new Set(['value', 'checked', 'disabled', 'hidden', 'open']);

function setAttribute(element, name, value) {
  if (value === undefined || value === null || value === false) {
    return;
  }
  if (name.startsWith('on')) {
    element.addEventListener(name.slice(2), value);
  } else if (kProperties.has(name)) {
    element[name] = value;
  } else {
    element.setAttribute(name, value === true ? '' : String(value));
  }
}

function append(element, children) {
  for (const child of children.flat(Infinity)) {
    if (child !== undefined && child !== null && child !== false) {
      element.append(child instanceof Node ? child : document.createTextNode(String(child)));
    }
  }
}

// h('a', {href: '#live', class: 'x', onclick: f}, 'text', element, [more])
export function h(tag, attributes = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    setAttribute(element, name, value);
  }
  append(element, children);
  return element;
}

export function svg(tag, attributes = {}, ...children) {
  const element = document.createElementNS(kSvg, tag);
  for (const [name, value] of Object.entries(attributes)) {
    setAttribute(element, name, value);
  }
  append(element, children);
  return element;
}

export function replace(element, ...children) {
  const fresh = document.createDocumentFragment();
  append(fresh, children);
  element.replaceChildren(fresh);
  return element;
}

// Control characters, and marks that change the direction of the text around them or have no width.
const kUnseen =
  /[\u0000-\u0008\u000b-\u001f\u007f-\u009f\u061c\u200b-\u200f\u202a-\u202e\u2060-\u206f\ufeff]/g;

// The text with each such character spelled out: what is shown is what arrived.
export function visible(text) {
  return String(text).replace(
    kUnseen, (c) => `\u27e8U+${c.charCodeAt(0).toString(16).toUpperCase().padStart(4, '0')}\u27e9`);
}

export function shorten(text, limit) {
  const whole = String(text);
  return whole.length > limit ? `${whole.slice(0, limit)}…` : whole;
}

const kShownText = 160;

// Text that arrived, isolated from the direction of its neighbours; shortened, with more of it in
// the tooltip.
export function arrived(text, limit = kShownText) {
  const whole = String(text ?? '');
  return h('bdi', {
    class: 'arrived',
    title: whole.length > limit ? visible(shorten(whole, 2000)) : undefined,
  }, visible(shorten(whole, limit)));
}

// Elements are made anew when a selection changes, some of them later. The focus goes to the one with
// the same id as the element that had it, unless the reader has moved it since.
let lostFocus = '';
addEventListener('focusin', () => { lostFocus = ''; });

export function restoreFocus() {
  if (lostFocus && document.activeElement === document.body) {
    document.getElementById(lostFocus)?.focus({ preventScroll: true });
  }
}

export function keepFocus(render) {
  const id = document.activeElement?.id;
  render();
  if (id && document.activeElement === document.body) {
    lostFocus = id;
    restoreFocus();
  }
}

// Runs `action` at most once in `milliseconds`, and once more after the last call.
export function throttle(action, milliseconds) {
  let timer = 0;
  let last = -Infinity;
  const run = () => {
    timer = 0;
    last = performance.now();
    action();
  };
  return () => {
    if (timer === 0) {
      timer = setTimeout(run, Math.max(0, last + milliseconds - performance.now()));
    }
  };
}
