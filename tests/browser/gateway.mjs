// A gateway process on a free port.
import { spawn } from 'node:child_process';
import { existsSync, mkdirSync, readFileSync, rmSync } from 'node:fs';
import { join } from 'node:path';

const kStartTime = 60000; // ms
const kWait = 30000;      // ms, more than a busy machine needs

export const pause = (milliseconds) => new Promise((resolve) => { setTimeout(resolve, milliseconds); });

// Polls until `condition` holds; throws after `limit` ms.
export async function until(what, condition, limit = kWait) {
  const end = Date.now() + limit;
  for (;;) {
    const value = await condition();
    if (value) {
      return value;
    }
    if (Date.now() > end) {
      throw new Error(`waited in vain for: ${what}`);
    }
    await pause(25);
  }
}

export class Gateway {
  #process;
  #log = '';

  // `folder` is emptied first.
  static async start(program, folder, options = [], port = 0) {
    const gateway = new Gateway();
    rmSync(folder, { recursive: true, force: true });
    mkdirSync(folder, { recursive: true });
    const portFile = join(folder, 'port');
    gateway.#process = spawn(program, ['--port', port, '--port-file', portFile, ...options],
                             { cwd: folder, stdio: ['ignore', 'pipe', 'pipe'] });
    for (const stream of [gateway.#process.stdout, gateway.#process.stderr]) {
      stream.on('data', (data) => { gateway.#log += data; });
    }
    try {
      await until('the gateway to listen', () => {
        if (gateway.#hasEnded()) {
          throw new Error(`the gateway did not start: ${gateway.#log}`);
        }
        return existsSync(portFile);
      }, kStartTime);
    } catch (error) {
      gateway.#process.kill('SIGKILL');
      throw error;
    }
    gateway.url = `http://127.0.0.1:${readFileSync(portFile, 'utf8').trim()}/`;
    return gateway;
  }

  async json(path, options) {
    const response = await fetch(this.url + path, options);
    return response.json();
  }

  // A gateway that does not end in time is killed; that, too, is an error.
  async stop() {
    if (!this.#hasEnded()) {
      const ended = new Promise((resolve) => { this.#process.once('exit', resolve); });
      const timer = setTimeout(() => this.#process.kill('SIGKILL'), kWait);
      this.#process.kill('SIGTERM');
      await ended;
      clearTimeout(timer);
    }
    if (this.#process.exitCode !== 0) {
      const end = this.#process.signalCode ?? this.#process.exitCode;
      throw new Error(`the gateway ended with ${end}: ${this.#log}`);
    }
  }

  // The exit code of a process that died of a signal stays null.
  #hasEnded() {
    return this.#process.exitCode !== null || this.#process.signalCode !== null;
  }
}
