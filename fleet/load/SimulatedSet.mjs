import { Connection } from './Connection.mjs';

const kLevel = JSON.stringify({ time: 1764077722.25, rate: 48000, channels: 2, peak: [-12.1, -12.3],
  rms: [-15.1, -15.4], loudness: -16.2 });

/// What a set's bridge is to the broker: retained state, a last will, levels, and an answer and a
/// notification for each command.
export class SimulatedSet {
  #connection;
  #root;
  #reported;

  static async start(port, name, { retained, notification }) {
    const set = new SimulatedSet();
    set.#root = `audvik/${name}/`;
    set.#reported = `${set.#root}on/${notification}`;
    set.#connection = await Connection.open(port, `audvik-bridge-${name}`, (packet) => set.#take(packet),
      { topic: `${set.#root}status`, payload: 'offline', qos: 0, retain: true });
    await set.#connection.subscribe(`${set.#root}do/+`, `${set.#root}audio/lease`);
    for (const [topic, payload] of retained) {
      set.#connection.publish(set.#root + topic, payload, { retain: true });
    }
    await set.#connection.settle();
    return set;
  }

  tellLevel() {
    this.#connection.publish(`${this.#root}level`, kLevel);
  }

  close() {
    this.#connection.close();
  }

  #take({ payload, properties }) {
    const text = String(payload);
    this.#connection.publish(this.#reported, `{"time":1764077722.25,"arguments":${text}}`, { retain: true });
    this.#connection.publish(properties.responseTopic, `{"arguments":${text},"status":0}`,
      { properties: { correlationData: properties.correlationData } });
  }
}
