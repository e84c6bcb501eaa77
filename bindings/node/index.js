// Tav for Node and Electron on 64-bit Windows, over koffi.
//
//   const { Library, LANGUAGE } = require('tav');
//   const tav = Library.load();                       // throws if tav.dll cannot be loaded
//   tav.initialize('Editor', '4.2', '4.2.0.118', LANGUAGE.EN_US);
//   tav.newEvent('DocumentOpened').add('Format', 'PDF').add('Pages', 12).log();
//   await tav.terminate();
//
// A method calls the slot of the same name: tav.h describes it. docs/bindings.md has the rules for
// handles, text, threads and the log, and index.d.ts the types.
'use strict';

const fs = require('fs');
const path = require('path');
const koffi = require('koffi');
const { LOADER, INTERFACE_VERSION, TABLE, COMPONENT, CONSTANTS } = require('./table');

const WORD = 8;

// The functions of a table or record at `address`, by name.
function bindFunctions(address, members) {
  const functions = {};
  members.forEach(([name, result, parameters], index) => {
    if (parameters) {
      const type = koffi.pointer(koffi.proto(result, parameters));
      functions[name] = koffi.decode(address, index * WORD, type);
      functions[name] = koffi.decode(functions[name], koffi.proto(result, parameters));
    }
  });
  return functions;
}

class ConsumedError extends Error {
  constructor(kind) {
    super(`this ${kind} was used up by an earlier call`);
    this.name = 'ConsumedError';
  }
}

class RefusedError extends Error {
  constructor(status) {
    super(`Initialize returned status ${status}; the log says why`);
    this.name = 'RefusedError';
    this.status = status;
  }
}

function text(value) {
  if (typeof value !== 'string') {
    throw new TypeError(`a text must be a string, not ${typeof value}`);
  }
  return value;
}

function isNumber(value) {
  if (typeof value === 'boolean') {
    throw new TypeError('a boolean is neither a text nor a number: pass String(value) or Number(value)');
  }
  return typeof value === 'number';
}

// Owns a handle of the library until a call consumes it.
class Handle {
  #handle;

  constructor(slots, handle) {
    this.slots = slots;
    this.#handle = handle;
  }

  use() {
    if (this.#handle === null) {
      throw new ConsumedError(this.constructor.name.toLowerCase());
    }
    return this.#handle;
  }

  consume() {
    const handle = this.use();
    this.#handle = null;
    return handle;
  }
}

class Event extends Handle {
  add(name, value) {
    if (isNumber(value)) {
      this.slots.AddNumericEventProperty(this.use(), text(name), value);
    } else {
      this.slots.AddEventProperty(this.use(), text(name), text(value));
    }
    return this;
  }

  addTraceItem(location, library = '', meta = '') {
    this.slots.AddTraceItem(this.use(), text(location), text(library), text(meta));
    return this;
  }

  log() {
    this.slots.LogEvent(this.consume());
  }
}

class Session extends Handle {
  newEvent(name) {
    return new Event(this.slots, this.slots.SessionNewEvent(this.use(), text(name)));
  }

  newCommandEvent(command) {
    return new Event(this.slots, this.slots.SessionNewCommandEvent(this.use(), text(command)));
  }

  newErrorEvent(code, message = '') {
    return new Event(this.slots, this.slots.SessionNewErrorEvent(this.use(), text(code), text(message)));
  }

  logPlace(place) {
    this.slots.SessionLogPlace(this.use(), text(place));
  }

  logIdle() {
    this.slots.SessionLogIdle(this.use());
  }

  incrementCounter(group, counter) {
    this.slots.SessionIncrementCounter(this.use(), text(group), text(counter));
  }

  aggregateValue(event, property, value) {
    this.slots.SessionAggregateValue(this.use(), text(event), text(property), value);
  }

  flushAggregates() {
    this.slots.SessionFlushAggregates(this.use());
  }

  end() {
    this.slots.SessionEnd(this.consume());
  }
}

class Value extends Handle {
  add(name, value) {
    if (isNumber(value)) {
      this.slots.AddNumericValue(this.use(), text(name), value);
    } else {
      this.slots.AddStringValue(this.use(), text(name), text(value));
    }
    return this;
  }

  append(item) {
    this.slots.AddListValue(this.use(), text(item));
    return this;
  }
}

class Component extends Handle {
  #operations;

  constructor(slots, handle, name, version) {
    super(slots, handle);
    this.#operations = bindFunctions(handle, COMPONENT);
    this.#operations.SetComponent(handle, text(name), text(version));
  }

  newEvent(name) {
    return new Event(this.slots, this.#operations.NewEvent(this.use(), text(name)));
  }

  newCommandEvent(command) {
    return new Event(this.slots, this.#operations.NewCommandEvent(this.use(), text(command)));
  }

  newErrorEvent(code, message = '') {
    return new Event(this.slots, this.#operations.NewErrorEvent(this.use(), text(code), text(message)));
  }

  incrementCounter(event, property) {
    this.#operations.IncrementCounter(this.use(), text(event), text(property));
  }

  aggregateValue(event, property, value) {
    this.#operations.AggregateValue(this.use(), text(event), text(property), value);
  }

  release() {
    this.#operations.Release(this.consume());
  }
}

// The DLL beside the executable of a packaged application, or beside this package. An installed
// application must not search PATH, from which anybody could supply a DLL.
function findLibrary() {
  const folders = [path.dirname(process.execPath), process.resourcesPath, __dirname].filter(Boolean);
  const found = folders.map((folder) => path.join(folder, 'tav.dll')).find(fs.existsSync);
  if (!found) {
    throw new Error(`tav.dll is in none of ${folders.join(', ')}`);
  }
  return found;
}

// Runs a slot that waits on a thread of koffi's, so that the event loop goes on.
function inBackground(slot, ...parameters) {
  return new Promise((resolve, reject) => {
    slot.async(...parameters, (error, result) => (error ? reject(error) : resolve(result)));
  });
}

class Library {
  // The loaded library; it stays loaded until the process ends.
  static load(file = findLibrary()) {
    const loader = koffi.load(file).func(LOADER, 'void *', ['int32']);
    const table = loader(INTERFACE_VERSION);
    if (!table) {
      throw new Error(`${file} does not serve interface version ${INTERFACE_VERSION}`);
    }
    return new Library(bindFunctions(table, TABLE));
  }

  constructor(slots) {
    this.slots = slots;
  }

  initialize(product, version, fullVersion = '', language = CONSTANTS.TAV_LANGUAGE_NONE) {
    const status = this.slots.Initialize(text(product), text(version), text(fullVersion), language);
    if (status !== CONSTANTS.TAV_OK) {
      throw new RefusedError(status);
    }
  }

  // No other call may be made until the promise is settled.
  terminate() {
    return inBackground(this.slots.Terminate);
  }

  // Whether everything was sent.
  async commit() {
    return (await inBackground(this.slots.Commit)) === 0;
  }

  async getEndpointIdentifier() {
    const buffer = Buffer.alloc(64);
    await inBackground(this.slots.GetEndpointIdentifier, buffer, buffer.length);
    return buffer.toString('utf8', 0, buffer.indexOf(0));
  }

  // The oldest record as base64 text, or null.
  async pullData() {
    const data = await inBackground(this.slots.PullData);
    if (!data) {
      return null;
    }
    try {
      return koffi.decode(data, 'char', -1);
    } finally {
      this.slots.FreeData(data);
    }
  }

  pushData(data) {
    return inBackground(this.slots.PushData, text(data));
  }

  getLastServerAccessTime() {
    return inBackground(this.slots.GetLastServerAccessTime);
  }

  getLastActiveTime() {
    return inBackground(this.slots.GetLastActiveTime);
  }

  newEvent(name) {
    return new Event(this.slots, this.slots.NewEvent(text(name)));
  }

  newCommandEvent(command) {
    return new Event(this.slots, this.slots.NewCommandEvent(text(command)));
  }

  newErrorEvent(code, message = '') {
    return new Event(this.slots, this.slots.NewErrorEvent(text(code), text(message)));
  }

  sessionBegin() {
    return new Session(this.slots, this.slots.SessionBegin());
  }

  createComponent(name, version) {
    const handle = this.slots.CreateComponentAnalytics();
    if (!handle) {
      throw new Error('the library does not run');
    }
    return new Component(this.slots, handle, name, version);
  }

  newMapValue() {
    return new Value(this.slots, this.slots.NewMapValue());
  }

  newListValue() {
    return new Value(this.slots, this.slots.NewListValue());
  }

  addProductInfo(key, value) {
    if (isNumber(value)) {
      this.slots.AddNumericProductInfo(text(key), value);
    } else {
      this.slots.AddProductInfo(text(key), text(value));
    }
  }

  addProductInfoValue(key, value) {
    this.slots.AddProductInfoValue(text(key), value.consume());
  }

  addSessionEnvInfo(key, value) {
    if (isNumber(value)) {
      this.slots.AddNumericSessionEnvInfo(text(key), value);
    } else {
      this.slots.AddSessionEnvInfo(text(key), text(value));
    }
  }
}

// The slots that take only texts and numbers and do not wait: setCacheSize for SetCacheSize. There
// are no sinks: a line that the library logs while JavaScript waits for it could never be delivered.
// Use TAV_LOGFILE.
for (const [slot, result, parameters] of TABLE) {
  const name = slot[0].toLowerCase() + slot.slice(1);
  const isPlain = ![result, ...parameters].includes('void *') && !slot.startsWith('Session');
  if (isPlain && !(name in Library.prototype) && !['Initialize', 'NoOperation'].includes(slot)) {
    Library.prototype[name] = function (...values) {
      if (values.length !== parameters.length) {
        throw new TypeError(`${name} takes ${parameters.length} arguments`);
      }
      return this.slots[slot](...values.map((v, i) => (parameters[i] === 'str' ? text(v) : v)));
    };
  }
}

// TAV_LANGUAGE_EN_US is LANGUAGE.EN_US.
function group(prefix) {
  const members = Object.entries(CONSTANTS).filter(([name]) => name.startsWith(prefix));
  return Object.freeze(Object.fromEntries(members.map(([name, value]) => [name.slice(prefix.length), value])));
}

module.exports = {
  Library,
  Event,
  Session,
  Value,
  Component,
  ConsumedError,
  RefusedError,
  LANGUAGE: group('TAV_LANGUAGE_'),
  UNIT: group('TAV_UNIT_'),
  TAG: group('TAV_TAG_'),
  STATUS: Object.freeze({
    OK: CONSTANTS.TAV_OK,
    NO_SESSION_THREAD: CONSTANTS.TAV_NO_SESSION_THREAD,
    ALREADY_INITIALIZED: CONSTANTS.TAV_ALREADY_INITIALIZED,
    BAD_PRODUCT: CONSTANTS.TAV_BAD_PRODUCT,
    NO_LOCAL_APP_DATA: CONSTANTS.TAV_NO_LOCAL_APP_DATA,
  }),
};
