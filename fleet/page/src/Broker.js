import mqtt from 'mqtt';

const kAnswerTimeout = 2000;
const kFirstRetry = 1000;
const kLongestRetry = 15000;
// Of MQTT 5: "bad user name or password" and "not authorized".
const kRefusals = [134, 135];

/// The connection to the broker that served the page. It comes back by itself, and asks again for
/// all that is wanted, whereupon the broker sends what it retains.
export class Broker {
  #client;
  #url;
  #events;
  #name = `audvik-page-${crypto.getRandomValues(new Uint32Array(2)).join('-')}`;
  #wanted = new Map();  // topic filter -> how many want it
  #user = 'anybody';
  #waiting = new Map();  // correlation data -> what takes the answer
  #sent = 0;

  /// @param events  up(), down(seconds until the next try), refused(), message(topic, packet)
  constructor(url, events) {
    this.#url = url;
    this.#events = events;
  }

  /// Below the user's name, which is where a broker with an access list lets him read.
  get #answers() {
    return `audvik-answers/${this.#user}/${this.#name}`;
  }

  connect(credentials = {}) {
    this.#client?.end(true);
    this.#user = credentials.username ?? this.#user;
    const client = mqtt.connect(this.#url, {
      ...credentials,
      clientId: this.#name,
      protocolVersion: 5,
      keepalive: 10,
      connectTimeout: 5000,
      reconnectPeriod: kFirstRetry,
      resubscribe: false,
      queueQoSZero: false,
    });
    this.#client = client;
    client.on('connect', () => {
      client.options.reconnectPeriod = kFirstRetry;
      client.subscribe([this.#answers, ...this.#wanted.keys()]);
      this.#events.up();
    });
    client.on('message', (topic, _payload, packet) => this.#take(topic, packet));
    client.on('error', (error) => {
      if (!kRefusals.includes(error.code)) return;
      client.end(true);
      this.#events.refused();
    });
    client.on('close', () => {
      if (client.disconnecting) return;
      // The library has already set its timer by the time before.
      this.#events.down(client.options.reconnectPeriod / 1000);
      client.options.reconnectPeriod =
        Math.min(kLongestRetry, client.options.reconnectPeriod * (1.3 + Math.random() * 0.4));
    });
  }

  want(topic) {
    const others = this.#wanted.get(topic) ?? 0;
    this.#wanted.set(topic, others + 1);
    if (others === 0 && this.#client?.connected) this.#client.subscribe(topic);
  }

  release(topic) {
    const others = this.#wanted.get(topic) - 1;
    if (others > 0) {
      this.#wanted.set(topic, others);
      return;
    }
    this.#wanted.delete(topic);
    if (this.#client?.connected) this.#client.unsubscribe(topic);
  }

  /// @returns when the set has taken the command; throws what it, or the silence, says
  async send(set, command, fields) {
    if (!this.#client?.connected) throw new Error('the broker is away');
    const correlation = `${++this.#sent}`;
    const answer = new Promise((resolve, reject) => {
      const timer = setTimeout(() => {
        this.#waiting.delete(correlation);
        reject(new Error(`no answer within ${kAnswerTimeout / 1000} s`));
      }, kAnswerTimeout);
      this.#waiting.set(correlation, (payload) => {
        clearTimeout(timer);
        if (payload.error !== undefined) reject(new Error(payload.error));
        else resolve(payload);
      });
    });
    this.#client.publish(`audvik/${set}/do/${command}`, JSON.stringify(fields), {
      properties: { responseTopic: this.#answers, correlationData: correlation },
    });
    return answer;
  }

  lease(set) {
    if (this.#client?.connected) this.#client.publish(`audvik/${set}/audio/lease`, '');
  }

  #take(topic, packet) {
    if (topic !== this.#answers) {
      this.#events.message(topic, packet);
      return;
    }
    const correlation = String(packet.properties?.correlationData);
    const waiting = this.#waiting.get(correlation);
    this.#waiting.delete(correlation);
    waiting?.(JSON.parse(String(packet.payload)));
  }
}
