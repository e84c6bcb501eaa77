// Types of the package tav. tav.h describes each call, docs/bindings.md the rules for all of them.

export type PropertyValue = string | number;

/** A handle was used after the call that consumed it. */
export class ConsumedError extends Error {}

/** Initialize refused to start; the log says why. */
export class RefusedError extends Error {
  readonly status: number;
}

/** An event, command or error. `log` reports and consumes it. */
export class Event {
  private constructor();
  add(name: string, value: PropertyValue): this;
  addTraceItem(location: string, library?: string, meta?: string): this;
  log(): void;
}

interface Reporter {
  newEvent(name: string): Event;
  newCommandEvent(command: string): Event;
  newErrorEvent(code: string, message?: string): Event;
  incrementCounter(group: string, counter: string): void;
  aggregateValue(event: string, property: string, value: number): void;
}

/** An explicit session. `end` consumes it. */
export class Session implements Reporter {
  private constructor();
  newEvent(name: string): Event;
  newCommandEvent(command: string): Event;
  newErrorEvent(code: string, message?: string): Event;
  logPlace(place: string): void;
  logIdle(): void;
  incrementCounter(group: string, counter: string): void;
  aggregateValue(event: string, property: string, value: number): void;
  flushAggregates(): void;
  end(): void;
}

/** A map (`add`) or a list (`append`). `Library.addProductInfoValue` consumes it. */
export class Value {
  private constructor();
  add(name: string, value: PropertyValue): this;
  append(item: string): this;
}

/** Reports under the name and version of one component. `release` consumes it. */
export class Component implements Reporter {
  private constructor();
  newEvent(name: string): Event;
  newCommandEvent(command: string): Event;
  newErrorEvent(code: string, message?: string): Event;
  incrementCounter(event: string, property: string): void;
  aggregateValue(event: string, property: string, value: number): void;
  release(): void;
}

export class Library implements Reporter {
  private constructor();
  /** Without a path: tav.dll beside the executable, in Electron's resources or in this package. */
  static load(file?: string): Library;

  /** Throws RefusedError. */
  initialize(product: string, version: string, fullVersion?: string, language?: number): void;
  /** No other call until the promise is settled. */
  terminate(): Promise<void>;

  newEvent(name: string): Event;
  newCommandEvent(command: string): Event;
  newErrorEvent(code: string, message?: string): Event;
  logPlace(place: string): void;
  logIdle(): void;
  sessionBegin(): Session;
  createComponent(name: string, version: string): Component;
  incrementCounter(group: string, counter: string): void;
  aggregateValue(event: string, property: string, value: number): void;
  flushAggregates(): void;

  addProductInfo(key: string, value: PropertyValue): void;
  addProductInfoValue(key: string, value: Value): void;
  newMapValue(): Value;
  newListValue(): Value;

  /** Whether everything was sent. */
  commit(): Promise<boolean>;
  suspend(): void;
  resume(): void;
  getEndpointIdentifier(): Promise<string>;
  getLastServerAccessTime(): Promise<number>;
  getLastActiveTime(): Promise<number>;
  /** The oldest record as base64 text, or null. */
  pullData(): Promise<string | null>;
  pushData(data: string): Promise<void>;
  getVersion(): string;

  /** Settings, to be made before `initialize`. */
  addSessionEnvInfo(key: string, value: PropertyValue): void;
  addTag(category: number, tag: string): void;
  enableDebugLog(): void;
  enablePersistentInterval(): void;
  optOut(): void;
  setAuxiliaryString(text: string): void;
  setCacheDirectory(directory: string): void;
  setCacheSize(megabytes: number): void;
  setCustomerIdentifier(id: string): void;
  setDebugFlags(enable: number): void;
  setProductComponentName(name: string): void;
  setProductContext(context: string): void;
  setSendInterval(amount: number, unit: number): void;
  setSendThreshold(megabytes: number): void;
  setStateFlags(noImpliedRecords: number, internalMode: number): void;
  setUserIdentifier(id: string): void;
  setVersionQualifier(qualifier: string): void;
}

type Constants = Readonly<Record<string, number>>;
/** EN_US and so on. */
export const LANGUAGE: Constants;
/** SECONDS, MINUTES, HOURS, DAYS. */
export const UNIT: Constants;
/** EDITION and so on, for addTag. */
export const TAG: Constants;
/** The results of Initialize. */
export const STATUS: Constants;
