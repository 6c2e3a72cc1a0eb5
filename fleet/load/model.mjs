import mqtt from 'mqtt';
import { setTimeout as pause } from 'node:timers/promises';
import { Rack } from '../rack/Rack.mjs';

const kQuiet = 500;

/// What a set retains at the broker, read from a real one after all of its commands: pairs of topic
/// below audvik/SET/ and payload. With it, a command and the notification by which it is reported.
export async function readModel() {
  const rack = await Rack.start(undefined, 1);
  const root = `audvik/${rack.names[0]}/`;
  try {
    const client = await mqtt.connectAsync(`mqtt://127.0.0.1:${rack.broker.port}`);
    const retained = new Map();
    client.on('message', (topic, payload) => retained.set(topic.slice(root.length), payload));
    await client.subscribeAsync(['status', 'interface', 'on/+'].map((topic) => root + topic));
    await untilQuiet(retained);
    const { commands, notifications } = JSON.parse(retained.get('interface'));
    for (const name of Object.keys(commands)) await client.publishAsync(`${root}do/${name}`, '{}');
    await untilQuiet(retained);
    await client.endAsync();
    const [notification, { command }] = Object.entries(notifications)
      .find(([, { relation }]) => relation === 'reports');
    return { retained: [...retained], command, notification };
  } finally {
    await rack.end();
  }
}

async function untilQuiet(retained) {
  let before;
  do {
    before = retained.size;
    await pause(kQuiet);
  } while (retained.size === 0 || retained.size > before);
}
