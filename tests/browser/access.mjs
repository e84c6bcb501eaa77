// Journeys by keyboard and by link, in narrow and dark windows.
import assert from 'node:assert/strict';
import { Visit } from './visit.mjs';
import { until } from './gateway.mjs';
import { kProduct } from './seed.mjs';

const scope = `product=${encodeURIComponent(kProduct)}`;
const kViews = ['live', 'live?show=records', 'faults', 'settings', `overview?${scope}`,
  `event?${scope}&name=DocumentOpened&property=Pages`, `sessions?${scope}`, `errors?${scope}`,
  `environments?${scope}`, `retention?${scope}`];

const focused = (page) => page.evaluate(() => {
  const element = document.activeElement;
  const style = getComputedStyle(element);
  return {
    id: element.id,
    text: (element.innerText || element.getAttribute('aria-label') || element.id).trim(),
    isSeen: element.matches(':focus-visible') && parseFloat(style.outlineWidth) > 0
      && element.getBoundingClientRect().height > 0 && element.getBoundingClientRect().bottom > 0,
  };
});

// Presses Tab until the focus is on the element with this text or id. Every stop is visible.
async function tabTo(visit, target, limit = 60) {
  for (let i = 0; i < limit; i += 1) {
    await visit.page.keyboard.press('Tab');
    const stop = await focused(visit.page);
    assert.ok(stop.isSeen, `the focus is not visible at "${stop.text}"`);
    if (stop.text === target || stop.id === target) {
      return;
    }
  }
  assert.fail(`Tab does not reach "${target}"`);
}

async function keyboard(visit, { store }) {
  const { page } = visit;
  await visit.open(store);
  await page.waitForSelector('.live-list td');
  await tabTo(visit, 'Skip to content', 1);
  await page.keyboard.press('Enter');
  assert.equal(await page.evaluate(() => document.activeElement.id), 'main');
  assert.equal(new URL(page.url()).hash, '');

  // To a record, and to the store's views.
  await tabTo(visit, 'records');
  await visit.press('Enter');
  assert.equal((await focused(page)).text, 'records', 'the focus stays');
  await page.keyboard.press('Tab');
  await visit.press('Enter');
  await visit.hasText('Record', 'h1');
  assert.match((await page.evaluate(() => document.activeElement.innerText)), /^Record 1200/, 'the new title');
  await visit.hasText('The request and the record follow the format.');

  await page.focus('#skip');
  await tabTo(visit, 'Overview');
  await visit.press('Enter');
  await page.focus('#skip');
  await tabTo(visit, 'field-version');
  await visit.press('ArrowDown');
  await until('the focus on the version', async () =>
    (await page.evaluate(() => document.activeElement.id)) === 'field-version');
  await tabTo(visit, 'DocumentOpened');
  await visit.press('Enter');
  await visit.hasText('Event', 'h1');
  await tabTo(visit, 'Pages');
  await visit.press('Enter');
  await visit.hasText('Property Pages');
  assert.equal((await focused(page)).id, 'property-Pages', 'the focus stays where the panel was made anew');
}

// Each link shows the same in a new window and after a reload.
async function links(visit, world) {
  for (const address of kViews.slice(4)) {
    await visit.open(world.store, address);
    const first = await visit.text();
    await visit.page.reload();
    await visit.settle();
    assert.equal(await visit.text(), first, address);
  }
  // A state that was chosen step by step.
  const { page } = visit;
  await visit.open(world.store, 'overview');
  await visit.select('#field-product', kProduct);
  await visit.select('#field-time-utc-', '30');
  await visit.follow('a:text-is("command")');
  await visit.follow('a:text-is("by hour")');
  const chosen = await visit.text();
  const other = await Visit.begin(world, 'links');
  await other.open({ url: page.url().split('#')[0] }, new URL(page.url()).hash.slice(1));
  assert.equal(await other.text(), chosen);
  assert.equal(await other.page.inputValue('#field-time-utc-'), '30');
  other.checkProblems();
  await other.end();

  // What is typed into the live filter is part of the link as well.
  await visit.open(world.store, 'live?name=std-&version=4.2');
  assert.equal(await page.inputValue('#filter-name'), 'std-');
  assert.equal(await page.inputValue('#filter-version'), '4.2');
}

// No view is wider than its window, and dark is dark.
async function windows(_visit, world) {
  for (const [width, scheme] of [[800, 'light'], [1280, 'dark']]) {
    const visit = await Visit.begin(world, 'windows', { width, scheme });
    visit.allow('404'); // this gateway has no settings file
    for (const address of kViews) {
      await visit.open(world.store, address);
      const { over, light, unnamed } = await visit.page.evaluate(() => ({
        over: document.documentElement.scrollWidth - document.documentElement.clientWidth,
        light: Number(/\d+/.exec(getComputedStyle(document.body).backgroundColor)[0]),
        unnamed: [...document.querySelectorAll('input, select, textarea')]
          .filter((control) => control.labels.length === 0 || !control.labels[0].innerText.trim()).length
          + [...document.querySelectorAll('a, button')]
            .filter((one) => !(one.innerText.trim() || one.getAttribute('aria-label'))).length,
      }));
      assert.equal(over, 0, `${address} is wider than ${width}`);
      assert.equal(light < 128, scheme === 'dark', address);
      assert.equal(unnamed, 0, `${address} has controls without a name`);
      if (scheme === 'dark' && address.startsWith('retention')) {
        await visit.picture('dark');
      }
    }
    visit.checkProblems();
    await visit.end();
  }
}

export const accessJourneys = { keyboard, links, windows };
