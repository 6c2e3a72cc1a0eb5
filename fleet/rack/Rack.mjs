import { mkdtemp, readdir, rm } from 'node:fs/promises';
import os from 'node:os';
import { fileURLToPath } from 'node:url';
import { Broker } from './Broker.mjs';
import { freeUdpPorts } from './ports.mjs';
import { Program } from './Program.mjs';

const kTree = fileURLToPath(new URL('../../', import.meta.url));
const kPrograms = process.env.AUDVIK_PROGRAMS ?? `${kTree}build/native/bin`;
const kSpeech = '/usr/share/sounds/alsa';

/// A broker, which serves the page, and sets: each a sound service with sound of its own, and the
/// bridge beside it.
export class Rack {
  #folder;
  #sets = [];

  static async start(page, count) {
    const rack = new Rack();
    try {
      rack.#folder = await mkdtemp(`${os.tmpdir()}/audvik-fleet-`);
      rack.broker = await Broker.start(rack.#folder, page);
      const ports = await freeUdpPorts(count);
      for (const [index, port] of ports.entries()) {
        rack.#sets.push(await startSet(`tv-${index + 1}`, port, await soundOf(index), rack.broker));
      }
    } catch (error) {
      await rack.end();
      throw error;
    }
    return rack;
  }

  get names() {
    return this.#sets.map(({ name }) => name);
  }

  /// Ends a set's "bridge" or "service".
  endPart(name, part, signal) {
    return this.#sets.find((set) => set.name === name)[part].end(signal);
  }

  /// Ends everything, in the order in which nobody misses anybody.
  async end() {
    await Promise.all(this.#sets.map(({ bridge }) => bridge.end()));
    await Promise.all(this.#sets.map(({ service }) => service.end()));
    await this.broker?.end();
    if (this.#folder) await rm(this.#folder, { recursive: true });
  }
}

async function startSet(name, port, sound, broker) {
  const address = `127.0.0.1:${port}`;
  const service = await Program.start(`${kPrograms}/sound-service`,
    [...sound, '--service', address], /listening on/);
  try {
    const bridge = await Program.start(`${kPrograms}/audvik-bridge`,
      ['--broker', `127.0.0.1:${broker.port}`, '--set', name, '--service', address,
        '--names', `${kTree}examples/names.json`], /audvik-bridge: connected to/);
    return { name, service, bridge };
  } catch (error) {
    await service.end();
    throw error;
  }
}

/// Speech for every other set, a tone of its own for the rest.
async function soundOf(index) {
  const clips = (await readdir(kSpeech)).filter((file) => file.endsWith('.wav')).sort();
  if (index % 2 === 0) return [`${kSpeech}/${clips[index / 2 % clips.length]}`, '--loop'];
  return ['--tone', Math.round(220 * 2 ** (index % 36 / 12))];
}
