// What all views of the store share: the selection, the products to choose from, and what to do when
// there is no store or nothing in it.
import { h, keepFocus, replace } from './dom.js';
import { empty, failure } from './parts.js';
import { loadProducts, noProducts, scopeBar } from './scope.js';

const kProductsAge = 15000; // ms that a list of products is used again
const cached = { time: -Infinity, products: [] };

async function products(signal) {
  if (performance.now() - cached.time > kProductsAge || cached.products.length === 0) {
    cached.products = await loadProducts(signal);
    cached.time = performance.now();
  }
  return cached.products;
}

const noStore = () => empty(
  'This gateway keeps records in memory and forgets them when it ends. To explore them, start it with a store:',
  h('pre', {}, 'gateway --store tav.db'),
  h('p', {}, 'Records that arrive from then on are kept in that file, and these views answer from it.'));

async function fill(place, name, view, state, signal) {
  const known = await products(signal);
  if (signal.aborted) {
    return;
  }
  if (known.length === 0) {
    replace(place, noProducts());
    return;
  }
  const product = known.find((one) => one.product === state.product) ?? known[0];
  const chosen = { ...state, product: product.product };
  keepFocus(() => {
    const body = h('div', { class: 'panels' });
    replace(place, scopeBar(name, chosen, known, product), body);
    view.show(body, { state: chosen, product, signal });
  });
}

// Makes a view of the store out of {title, show(place, {state, product, signal})}.
export function explore(name, view) {
  return {
    title: view.title,
    show(main, state) {
      const stop = new AbortController();
      let place = main.querySelector('.explore');
      if (!place) {
        place = h('div', { class: 'explore' }, h('p', { class: 'waiting' }, 'Asking the store …'));
        replace(main, h('h1', { tabindex: '-1' }, view.title), place);
      }
      const run = async () => {
        place.setAttribute('aria-busy', 'true');
        try {
          await fill(place, name, view, state, stop.signal);
        } catch (error) {
          if (!stop.signal.aborted) {
            replace(place, error.answer?.store === 'memory' ? noStore() : failure(error, run));
          }
        }
        if (!stop.signal.aborted) {
          place.removeAttribute('aria-busy');
        }
      };
      run();
      return () => stop.abort();
    },
  };
}
