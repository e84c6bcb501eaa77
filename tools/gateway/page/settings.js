// The settings file that the gateway serves: edited here, checked by the gateway, written by it.
import { h, replace } from './dom.js';
import { getJson, send } from './client.js';
import { Panel, empty, failure } from './parts.js';
import { plural } from './format.js';

export const title = 'Settings';

const kCheckTime = 400; // ms after the last key

const noFile = () => empty(
  'This gateway answers every request for settings with {}. To edit them here, start it with a file:',
  h('pre', {}, 'gateway --config settings.json'));

class Editor {
  #file;      // {file, text, digest} as it was read
  #timer = 0;
  #isSaving = false;
  #round = 0; // of the last check
  #text = h('textarea', { id: 'settings-text', spellcheck: 'false', autocomplete: 'off', rows: 18,
                          'aria-describedby': 'settings-problems' });
  #lines = h('pre', { class: 'line-numbers', 'aria-hidden': 'true' });
  #problems = h('div', { id: 'settings-problems', 'aria-live': 'polite' });
  #save = h('button', { class: 'main', type: 'button', onclick: () => this.save() }, 'Serve these settings');
  #revert = h('button', { type: 'button', onclick: () => this.#load() }, 'Read the file again');
  #panel = new Panel('Settings file', { class: 'wide' });

  constructor(place) {
    this.element = this.#panel.element;
    place.append(this.element);
    this.#text.addEventListener('input', () => this.#onInput());
    this.#text.addEventListener('scroll', () => { this.#lines.scrollTop = this.#text.scrollTop; });
    this.#load();
  }

  get isChanged() {
    return this.#file !== undefined && this.#text.value !== this.#file.text;
  }

  async #load() {
    try {
      this.#file = await getJson('api/settings');
    } catch (error) {
      replace(this.#panel.body, error.status === 404 ? noFile() : failure(error, () => this.#load()));
      return;
    }
    this.#text.value = this.#file.text;
    // The browser turns CR LF into LF; this is the text that a change is measured by.
    this.#file.text = this.#text.value;
    replace(this.#panel.body,
      h('p', { class: 'hint' }, 'Libraries that ask from now on get these settings; each uses them from its next run on.'),
      h('label', { for: 'settings-text' }, this.#file.file),
      h('div', { class: 'editor' }, this.#lines, this.#text),
      this.#problems, h('p', { class: 'buttons' }, this.#save, this.#revert));
    this.#showLines();
    this.#check();
  }

  #onInput() {
    this.#showLines();
    this.#panel.note(this.isChanged ? 'changed, not yet served' : '');
    clearTimeout(this.#timer);
    this.#timer = setTimeout(() => this.#check(), kCheckTime);
  }

  #showLines() {
    const count = this.#text.value.split('\n').length;
    this.#lines.textContent = Array.from({ length: Math.min(count, 10000) }, (_, i) => i + 1).join('\n');
  }

  async #check() {
    const round = (this.#round += 1);
    try {
      const { problems } = await send('PUT', 'api/settings?check=1', this.#text.value);
      if (round === this.#round) {
        this.#show(problems);
      }
    } catch (error) {
      replace(this.#problems, failure(error, () => this.#check()));
    }
  }

  #show(problems) {
    const hasErrors = problems.some(({ severity }) => severity === 'error');
    this.#save.disabled = hasErrors || this.#isSaving;
    this.#text.setAttribute('aria-invalid', String(hasErrors));
    replace(this.#problems, problems.length === 0
      ? h('p', { class: 'good' }, 'The settings are in order.')
      : [h('p', {}, `${plural(problems.length, 'remark')}:`),
         h('ul', { class: 'problems' }, problems.map(({ line, severity, text }) =>
           h('li', { class: severity }, h('button', {
             type: 'button', class: 'plain', onclick: () => this.#goToLine(line) }, `line ${line}`),
             ` ${severity}: `, h('bdi', {}, text))))]);
  }

  #goToLine(line) {
    const lines = this.#text.value.split('\n');
    const begin = lines.slice(0, line - 1).reduce((sum, text) => sum + text.length + 1, 0);
    this.#text.focus();
    this.#text.setSelectionRange(begin, begin + (lines[line - 1]?.length ?? 0));
  }

  async save() {
    clearTimeout(this.#timer);
    this.#isSaving = true;
    this.#save.disabled = true;
    const text = this.#text.value;
    let result = null;
    try {
      result = await send('PUT', `api/settings?base=${this.#file.digest}`, text);
      this.#file = { ...this.#file, text, digest: result.digest };
      this.#panel.note(`served since ${new Date().toLocaleTimeString()}`);
    } catch (error) {
      result = error.answer?.problems ? error.answer : null;
      if (!result) {
        replace(this.#problems, failure(error));
      }
    } finally {
      this.#isSaving = false;
      this.#save.disabled = false;
    }
    if (result) {
      this.#show(result.problems);
    }
  }
}

export function show(main) {
  const place = h('div', { class: 'panels' });
  replace(main, h('h1', { tabindex: '-1' }, title), place);
  const editor = new Editor(place);
  const warn = (event) => {
    if (editor.isChanged) {
      event.preventDefault();
    }
  };
  addEventListener('beforeunload', warn);
  return () => removeEventListener('beforeunload', warn);
}
