// One journey's browser page, with everything that went wrong in it: errors on the console, violations
// of the page's policy, failed requests, requests to other hosts.
import assert from 'node:assert/strict';
import { join } from 'node:path';
import { until } from './gateway.mjs';

const kWait = 30000; // ms

export class Visit {
  problems = [];
  #allowed = [];

  static async begin(world, name, { width = 1280, height = 860, scheme = 'light' } = {}) {
    const visit = new Visit();
    visit.world = world;
    visit.name = name;
    visit.context = await world.browser.newContext({
      viewport: { width, height }, colorScheme: scheme, locale: 'en-GB', timezoneId: 'UTC' });
    visit.context.setDefaultTimeout(kWait);
    visit.page = await visit.context.newPage();
    await visit.#watch();
    return visit;
  }

  async #watch() {
    const note = (text) => this.problems.push(text);
    this.page.on('console', (message) => {
      if (['error', 'warning'].includes(message.type()) && !this.#isAllowed(message.text())) {
        note(`console: ${message.text()} ${message.location().url}`);
      }
    });
    this.page.on('pageerror', (error) => note(`exception: ${error.stack}`));
    this.page.on('dialog', (dialog) => {
      note(`dialog: ${dialog.message()}`);
      dialog.dismiss();
    });
    this.page.on('request', (request) => {
      const { protocol, hostname } = new URL(request.url());
      if (protocol !== 'http:' || hostname !== '127.0.0.1') {
        note(`request to ${request.url()}`);
      }
    });
    await this.page.addInitScript(() => {
      document.addEventListener('securitypolicyviolation', (event) =>
        console.error(`policy: ${event.violatedDirective} ${event.blockedURI}`));
      // Listeners run in the order of their registration; the page's own has run when the task ends.
      window.shownAddress = location.href;
      addEventListener('hashchange', () => { window.shownAddress = location.href; });
    });
  }

  // From now on a console message with this text is expected.
  allow(text) {
    this.#allowed.push(text);
  }

  #isAllowed(text) {
    return this.#allowed.some((part) => text.includes(part));
  }

  checkProblems() {
    assert.deepEqual(this.problems, []);
  }

  get lastAddress() {
    return this.page.url();
  }

  // Opens an address of the page and waits for its title and its data.
  async open(gateway, address = '') {
    // A new document, also where only the part after # differs.
    await this.page.goto('about:blank');
    await this.page.goto(`${gateway.url}#${address}`);
    await this.settle();
  }

  // Polls the page. The driver's own waitForFunction needs eval, which the page's policy forbids.
  holds(what, condition, parameter) {
    return until(what, () => this.page.evaluate(condition, parameter));
  }

  // Waits until nothing is being loaded or drawn.
  async settle() {
    await this.holds('the page to be complete', () => document.querySelector('h1')
      && !document.querySelector('[aria-busy], .waiting')
      && ![...document.querySelectorAll('canvas')].some((canvas) => !canvas.dataset.drawn));
  }

  // Does something that leads to another address, and waits until the page shows it.
  async go(action) {
    const before = this.page.url();
    await action();
    await this.holds('another address', (old) => location.href !== old
      && window.shownAddress === location.href, before);
    await this.settle();
  }

  follow(selector) {
    return this.go(() => this.page.click(selector));
  }

  select(selector, value) {
    return this.go(() => this.page.selectOption(selector, value));
  }

  press(key) {
    return this.go(() => this.page.keyboard.press(key));
  }

  // The text of the main part, without the times that answers took.
  async text(selector = 'main') {
    const text = await this.page.innerText(selector);
    return text.replace(/answered in [\d,]+ ms/g, '').replace(/\s+/g, ' ').trim();
  }

  async hasText(part, selector = 'main') {
    await until(`"${part}" in ${selector}`, async () => (await this.text(selector)).includes(part));
  }

  isConnected() {
    return until('the connection', async () => (await this.text('#connection')) === 'connected');
  }

  // The cells of the body's rows of the n-th table in a panel.
  async rows(panel) {
    return this.page.evaluate((title) => {
      const section = [...document.querySelectorAll('section')]
        .find((one) => one.querySelector('h2').textContent.startsWith(title));
      return [...section.querySelectorAll('tbody tr')].map((row) =>
        [...row.children].map((cell) => cell.innerText.trim()));
    }, panel);
  }

  async picture(name) {
    if (this.world.pictures) {
      await this.page.mouse.move(0, 0);
      await this.page.screenshot({ path: join(this.world.pictures, `${name}.png`) });
    }
  }

  async keepPicture(path) {
    try {
      await this.page.screenshot({ path });
    } catch {
      // The page is gone; the failure itself is reported.
    }
  }

  async end() {
    await this.context.close();
  }
}
