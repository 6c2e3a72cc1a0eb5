import { once } from 'node:events';
import net from 'node:net';
import packets from 'mqtt-packet';

const kVersion = { protocolVersion: 5 };
const kKeepAlive = 60;

/// One MQTT 5 connection and no more, so that one process carries ten thousand of them.
export class Connection {
  #socket;
  #name;
  #expected = new Map();  // command of a packet -> what waits for it
  #id = 0;

  /// @param take  gets each message that comes
  static async open(port, name, take, will) {
    const connection = new Connection();
    connection.#name = name;
    connection.#socket = net.connect({ port, host: '127.0.0.1', noDelay: true });
    connection.#socket.on('error', (error) => connection.#fail(error));
    connection.#socket.on('close', () => connection.#fail(new Error('the broker closed the connection')));
    await once(connection.#socket, 'connect');
    const parser = packets.parser(kVersion);
    parser.on('packet', (packet) => {
      if (packet.cmd === 'publish') take(packet);
      else connection.#settle(packet);
    });
    parser.on('error', (error) => connection.#fail(error));
    connection.#socket.on('data', (bytes) => parser.parse(bytes));
    await connection.#ask({ cmd: 'connect', protocolId: 'MQTT', ...kVersion, clean: true,
      clientId: name, keepalive: kKeepAlive, will }, 'connack');
    return connection;
  }

  /// All at quality of service 0, as the bridge does.
  publish(topic, payload, { retain = false, properties } = {}) {
    this.#send({ cmd: 'publish', topic, payload, qos: 0, retain, properties });
  }

  subscribe(...topics) {
    return this.#ask({ cmd: 'subscribe', messageId: ++this.#id,
      subscriptions: topics.map((topic) => ({ topic, qos: 0 })) }, 'suback');
  }

  /// Waits until the broker has taken all that was sent.
  settle() {
    return this.#ask({ cmd: 'pingreq' }, 'pingresp');
  }

  close() {
    this.#socket.removeAllListeners('close');
    this.#socket.destroy();
  }

  #send(packet) {
    this.#socket.write(packets.generate(packet, kVersion));
  }

  #ask(packet, answer) {
    return new Promise((resolve, reject) => {
      this.#expected.set(answer, { resolve, reject });
      this.#send(packet);
    });
  }

  #settle(packet) {
    const reasons = packet.granted ?? [packet.reasonCode ?? 0];
    const { resolve, reject } = this.#expected.get(packet.cmd) ?? {};
    this.#expected.delete(packet.cmd);
    if (reasons.some((reason) => reason >= 0x80)) reject?.(new Error(`${packet.cmd} ${reasons}`));
    else resolve?.();
  }

  #fail(error) {
    const waiting = [...this.#expected.values()];
    // Somebody who waits can say it; else nobody would.
    if (waiting.length === 0) throw new Error(`${this.#name}: ${error.message}`);
    for (const { reject } of waiting) reject(error);
    this.#expected.clear();
  }
}
