// Charts, drawn by Chart.js on a canvas. Beside each stands a table with its numbers, for those who
// cannot see the canvas and those who want the numbers.
import { h } from './dom.js';
import { table } from './parts.js';
import { whole } from './format.js';

let library = null;

// The library is a classic script that defines `Chart`. It is loaded with the first chart.
function loadLibrary() {
  library ??= new Promise((resolve, reject) => {
    document.head.append(h('script', {
      src: 'page/chart.js',
      onload: () => resolve(globalThis.Chart),
      onerror: () => {
        library = null;
        reject(new Error('The chart library could not be loaded.'));
      },
    }));
  });
  return library;
}

const colour = (name) => getComputedStyle(document.documentElement).getPropertyValue(name).trim();

function settings(kind, { labels, values, unit, address }) {
  const grid = { color: colour('--line'), drawBorder: false };
  const ticks = { color: colour('--soft'), font: { family: 'system-ui, sans-serif', size: 12 } };
  return {
    type: kind,
    data: {
      labels,
      datasets: [{
        label: unit,
        data: values,
        backgroundColor: kind === 'bar' ? colour('--accent') : colour('--accent-wash'),
        borderColor: colour('--accent'),
        borderWidth: kind === 'bar' ? 0 : 2,
        categoryPercentage: 0.96,
        barPercentage: 0.96,
        pointRadius: labels.length > 60 ? 0 : 2,
        pointHitRadius: 12,
        fill: true,
        tension: 0,
      }],
    },
    options: {
      animation: false,
      responsive: true,
      maintainAspectRatio: false,
      interaction: { mode: 'index', intersect: false },
      onClick: (_event, items) => {
        if (address && items.length > 0) {
          location.hash = address(items[0].index);
        }
      },
      plugins: {
        legend: { display: false },
        tooltip: { displayColors: false },
      },
      scales: {
        x: { grid: { display: false }, ticks: { ...ticks, maxRotation: 0, autoSkipPadding: 24 } },
        y: { beginAtZero: true, grid, ticks: { ...ticks, precision: 0, maxTicksLimit: 6 },
             title: { display: true, text: unit, color: colour('--soft') } },
      },
    },
  };
}

// The charts on the page, so that a change between light and dark draws them again.
const drawn = new Map();

matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => {
  for (const [canvas, { chart, draw }] of drawn) {
    chart.destroy();
    drawn.delete(canvas);
    if (canvas.isConnected) {
      draw();
    }
  }
});

function forgetRemoved() {
  for (const [canvas, { chart }] of drawn) {
    if (!canvas.isConnected) {
      chart.destroy();
      drawn.delete(canvas);
    }
  }
}

// kind: 'bar' or 'line'. data: {title, labelTitle, unit, labels, values, address(index)}; the last is
// where a value leads, if anywhere. Returns the element at once; the chart follows when the library is
// there.
export function plot(kind, data) {
  const canvas = h('canvas', { role: 'img', 'aria-label': `${data.title}; the numbers are below` });
  const place = h('div', { class: 'plot' }, canvas);
  const draw = async () => {
    try {
      const Chart = await loadLibrary();
      forgetRemoved();
      if (canvas.isConnected) {
        drawn.set(canvas, { chart: new Chart(canvas, settings(kind, data)), draw });
        canvas.dataset.drawn = 'true';
      }
    } catch (error) {
      place.replaceChildren(h('p', { class: 'empty' }, error.message));
    }
  };
  requestAnimationFrame(draw); // the canvas is in the document by then
  return h('div', {}, place, numbers(data));
}

function numbers({ title, labelTitle, unit, labels, values, address }) {
  const details = h('details', { class: 'numbers' }, h('summary', {}, 'Numbers'));
  const labelOf = (index) => (address ? h('a', { href: address(index) }, labels[index]) : labels[index]);
  details.addEventListener('toggle', () => {
    // Built on demand: a chart may have a thousand values.
    if (details.open && details.childElementCount === 1) {
      details.append(table(title, [
        { title: labelTitle, cell: labelOf },
        { title: unit, number: true, cell: (index) => whole(values[index]) },
      ], [...values.keys()]));
    }
  });
  return details;
}
