// The records as they arrive, for the whole life of the page: the last ones when it starts, then each
// one that the gateway announces. After a lost connection it fetches what it missed.
import { getJson } from './client.js';

const kKept = 1000;        // records in memory
const kFirst = 200;        // records fetched at the start and after a gap
const kPollTime = 2000;    // ms, while there is no stream of events

export class Arrivals {
  #records = [];
  #listeners = new Set();
  #state = 'waiting';
  #source = null;
  #poll = 0;

  // Newest last.
  get records() { return this.#records; }
  // waiting, open or lost
  get state() { return this.#state; }

  // Calls `listener` after each change until the returned function is called.
  listen(listener) {
    this.#listeners.add(listener);
    return () => this.#listeners.delete(listener);
  }

  start() {
    this.#source = new EventSource('api/live');
    this.#source.addEventListener('record', (event) => {
      try {
        this.#take([JSON.parse(event.data)]);
      } catch {
        this.#fetchMissed();
      }
    });
    this.#source.addEventListener('open', () => {
      clearInterval(this.#poll);
      this.#fetchMissed();
    });
    this.#source.addEventListener('error', () => this.#onLost());
  }

  // The browser connects again by itself unless the answer was an error.
  #onLost() {
    this.#setState('lost');
    if (this.#source.readyState === EventSource.CLOSED) {
      clearInterval(this.#poll);
      this.#poll = setInterval(() => this.#fetchMissed(), kPollTime);
      this.#fetchMissed();
    }
  }

  async #fetchMissed() {
    const last = this.#records.at(-1)?.number ?? 0;
    try {
      const { newest, records } = await getJson(`api/recent?after=${last}&limit=${kFirst}`);
      if (newest < last) {
        this.#records = []; // the gateway was started again or cleared: numbers begin at 1
        this.#take((await getJson(`api/recent?after=0&limit=${kFirst}`)).records);
      } else {
        this.#take(records);
      }
      this.#setState('open');
    } catch {
      this.#setState('lost');
    }
  }

  #take(records) {
    for (const record of records) {
      const last = this.#records.at(-1)?.number ?? 0;
      if (record.number === 1 && last > 0) {
        this.#records = [];
      }
      if (record.number > last || record.number === 1) {
        this.#records.push(record);
      } else {
        this.#insert(record);
      }
    }
    this.#records.splice(0, Math.max(0, this.#records.length - kKept));
    this.#notify();
  }

  // A record that the stream announced may be newer than one that is still being fetched.
  #insert(record) {
    const index = this.#records.findIndex(({ number }) => number >= record.number);
    if (this.#records[index].number !== record.number) {
      this.#records.splice(index, 0, record);
    }
  }

  #setState(state) {
    if (this.#state !== state) {
      this.#state = state;
      this.#notify();
    }
  }

  #notify() {
    for (const listener of this.#listeners) {
      listener();
    }
  }
}
