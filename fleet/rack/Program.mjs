import { spawn } from 'node:child_process';
import { once } from 'node:events';

const kReadyWithin = 30_000;
const kKeptOutput = 10_000;

/// A running program, which says on standard error that it is ready.
export class Program {
  #process;
  #said = '';

  static async start(path, options, ready) {
    const program = new Program();
    // A process group of its own: Ctrl-C reaches only the one who ends them all in order.
    program.#process = spawn(path, options, { stdio: ['ignore', 'ignore', 'pipe'], detached: true });
    try {
      await program.#waitFor(ready);
    } catch (error) {
      await program.end('SIGKILL');
      throw new Error(`${path}: ${error.message}\n${program.#said}`);
    }
    return program;
  }

  get id() {
    return this.#process.pid;
  }

  /// Ends it and waits for that.
  async end(signal = 'SIGTERM') {
    const { pid, exitCode, signalCode } = this.#process;
    if (pid === undefined || exitCode !== null || signalCode !== null) return;
    const ended = once(this.#process, 'exit');
    this.#process.kill(signal);
    await ended;
  }

  #waitFor(ready) {
    return new Promise((resolve, reject) => {
      const timer = setTimeout(() =>
        reject(new Error(`not ready within ${kReadyWithin / 1000} s`)), kReadyWithin);
      const settle = (how) => (value) => {
        clearTimeout(timer);
        how(value);
      };
      this.#process.on('error', settle(reject));
      this.#process.on('exit', (code, signal) => settle(reject)(new Error(`ended, ${signal ?? code}`)));
      this.#process.stderr.on('data', (text) => {
        this.#said = (this.#said + text).slice(-kKeptOutput);
        if (ready.test(this.#said)) settle(resolve)();
      });
    });
  }
}
