// Measures what sets cost a broker. script/fleet-load says how to use it.
import { measure } from './measure.mjs';
import { readModel } from './model.mjs';

const kHead = ['sets', 'all there after', 'messages/s in', 'messages/s out', 'lost',
  'command to notification, median', '99 %', 'broker, of a core', 'memory/set'];

function row(cells) {
  return `| ${cells.join(' | ')} |`;
}

function cellsOf({ count, startTime, received, sent, lost, delays, cores, bytes }) {
  const delay = (part) => `${delays[Math.floor(part * (delays.length - 1))].toFixed(1)} ms`;
  return [count, `${startTime.toFixed(1)} s`, received.toFixed(0), sent.toFixed(0), lost, delay(0.5),
    delay(0.99), `${(cores * 100).toFixed(0)} %`, `${(bytes / 1024).toFixed(1)} KiB`];
}

try {
  const model = await readModel();
  console.log(row(kHead));
  console.log(row(kHead.map(() => '--:')));
  const [levelRate, ...counts] = process.argv.slice(2).map(Number);
  for (const count of counts) {
    const result = await measure(count, levelRate, model);
    console.log(row(cellsOf(result)));
    if (result.lost > 0) process.exitCode = 1;
  }
} catch (error) {
  console.error(`script/fleet-load: ${error.message}`);
  process.exitCode = 1;
}
