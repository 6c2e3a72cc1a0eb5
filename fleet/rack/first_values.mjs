import { readFile } from 'node:fs/promises';
import mqtt from 'mqtt';

const kControls = JSON.parse(await readFile(new URL('../page/card.json', import.meta.url)));

/// Gives what the cards show a value in each set, which nobody knows before it is set.
export async function setFirstValues({ broker, names }) {
  const client = await mqtt.connectAsync(`mqtt://127.0.0.1:${broker.port}`, { protocolVersion: 5 });
  for (const [index, name] of names.entries()) {
    for (const { command, field, schema: { minimum, maximum } } of kControls) {
      // Louder from set to set; what is on or off stays off.
      const part = maximum === 1 ? 0 : (index * 7 + 20) % 100 / 100;
      const value = Math.round(minimum + part * (maximum - minimum));
      await client.publishAsync(`audvik/${name}/do/${command}`, JSON.stringify({ [field]: value }));
    }
  }
  await client.endAsync();
}
