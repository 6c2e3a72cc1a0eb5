import { Connection } from './Connection.mjs';

/// Whoever watches and commands all sets: hears every level and notification, and measures how long
/// it takes from a command to the notification that it causes.
export class Hall {
  #connection;
  #command;
  #sent = new Map();  // number of a command -> when it was sent
  #count = 0;
  delays = [];
  levels = 0;
  answers = 0;
  notifications = 0;

  static async start(port, { command, notification }) {
    const hall = new Hall();
    hall.#command = command;
    hall.#connection = await Connection.open(port, 'audvik-hall', (packet) => hall.#take(packet));
    await hall.#connection.subscribe('audvik-answers/hall', 'audvik/+/level', `audvik/+/on/${notification}`);
    await hall.settle();
    return hall;
  }

  get commands() {
    return this.#count;
  }

  /// How many commands have not been answered by their notification.
  get unanswered() {
    return this.#sent.size;
  }

  send(name) {
    const number = ++this.#count;
    this.#sent.set(number, performance.now());
    this.#connection.publish(`audvik/${name}/do/${this.#command}`, JSON.stringify({ field1: number }),
      { properties: { responseTopic: 'audvik-answers/hall', correlationData: Buffer.from(`${number}`) } });
  }

  settle() {
    return this.#connection.settle();
  }

  close() {
    this.#connection.close();
  }

  #take({ topic, payload, retain }) {
    if (retain) return;  // Said before it was there.
    if (topic.endsWith('/level')) {
      this.levels += 1;
    } else if (topic.startsWith('audvik-answers/')) {
      this.answers += 1;
    } else {
      this.notifications += 1;
      const number = JSON.parse(payload).arguments.field1;
      this.delays.push(performance.now() - this.#sent.get(number));
      this.#sent.delete(number);
    }
  }
}
