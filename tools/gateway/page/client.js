// Requests to the gateway that served this page.

export class RequestError extends Error {
  constructor(status, message, answer = {}) {
    super(message);
    this.status = status;
    this.answer = answer;
  }
}

async function request(path, options = {}) {
  let response;
  try {
    response = await fetch(path, { cache: 'no-store', ...options });
  } catch (failure) {
    if (failure.name === 'AbortError') {
      throw failure;
    }
    throw new RequestError(0, 'The gateway does not answer. Is it still running?');
  }
  const text = await response.text();
  let value;
  try {
    value = JSON.parse(text);
  } catch {
    value = undefined;
  }
  if (!response.ok) {
    throw new RequestError(response.status, value?.error ?? `The gateway answered ${response.status}.`,
                           value);
  }
  return { text, value };
}

export const getJson = async (path, signal) => (await request(path, { signal })).value;
export const getText = async (path, signal) => (await request(path, { signal })).text;

export const send = async (method, path, body) =>
  (await request(path, { method, body, headers: { 'Content-Type': 'text/plain' } })).value;

export function query(parameters) {
  const result = new URLSearchParams();
  for (const [name, value] of Object.entries(parameters)) {
    if (value !== undefined && value !== null && value !== '') {
      result.set(name, value);
    }
  }
  return result.toString();
}

// Asks the store. Returns {rows, milliseconds}, each row an object under the answer's column names.
export async function ask(question, parameters, signal) {
  const begin = performance.now();
  const { columns, rows } = await getJson(`api/ask/${question}?${query(parameters)}`, signal);
  return {
    rows: rows.map((row) => Object.fromEntries(columns.map((name, index) => [name, row[index]]))),
    milliseconds: performance.now() - begin,
  };
}
