// Starts a rack of sets, and ends it on Ctrl-C. script/fleet says how to use it.
import { once } from 'node:events';
import { setFirstValues } from './first_values.mjs';
import { Rack } from './Rack.mjs';

const kSignals = ['SIGINT', 'SIGTERM', 'SIGHUP'];
const [page, count] = process.argv.slice(2);

// Whoever asks while sets are being started is heard once they are there.
const asked = Promise.race(kSignals.map((signal) => once(process, signal)));
try {
  const rack = await Rack.start(page, Number(count));
  try {
    await setFirstValues(rack);
    console.log(`${count} sets on the broker at 127.0.0.1:${rack.broker.port}; Ctrl-C ends them`);
    console.log(`Page: ${rack.broker.page}`);
    await asked;
  } finally {
    await rack.end();
  }
} catch (error) {
  console.error(`script/fleet: ${error.message}`);
  process.exitCode = 1;
}
