import { mkdtemp, rm } from 'node:fs/promises';
import os from 'node:os';
import { setTimeout as pause } from 'node:timers/promises';
import { Broker } from '../rack/Broker.mjs';
import { costOf } from './cost.mjs';
import { Hall } from './Hall.mjs';
import { SimulatedSet } from './SimulatedSet.mjs';

const kSeconds = 8;
const kTick = 10;
const kAtOnce = 50;
// Of each set, a second; in all, no more than shows what they take.
const kCommands = 0.1;
const kFewestCommands = 20;
const kMostCommands = 500;
const kPatience = 5000;

/// Puts so many sets on a broker of their own, each telling its level so often a second, and measures
/// what that takes.
export async function measure(count, levelRate, model) {
  const folder = await mkdtemp(`${os.tmpdir()}/audvik-load-`);
  const broker = await Broker.start(folder);
  const sets = [];
  let hall;
  try {
    const empty = await costOf(broker.id);
    const begin = performance.now();
    await startSets(sets, count, broker.port, model);
    const startTime = (performance.now() - begin) / 1000;
    hall = await Hall.start(broker.port, model);
    const before = await costOf(broker.id);
    const told = await drive(sets, levelRate, hall);
    const after = await costOf(broker.id);
    await untilAnswered(hall);
    return {
      count,
      startTime,
      received: (told + hall.commands + hall.notifications + hall.answers) / kSeconds,
      sent: (hall.levels + hall.commands + hall.notifications + hall.answers) / kSeconds,
      lost: told - hall.levels + hall.unanswered,
      delays: hall.delays.sort((a, b) => a - b),
      cores: (after.seconds - before.seconds) / kSeconds,
      bytes: (after.bytes - empty.bytes) / count,
    };
  } finally {
    hall?.close();
    for (const set of sets) set.close();
    await broker.end();
    await rm(folder, { recursive: true });
  }
}

async function startSets(sets, count, port, model) {
  let next = 0;
  const startSome = async () => {
    while (next < count) sets.push(await SimulatedSet.start(port, `tv-${++next}`, model));
  };
  await Promise.all(Array.from({ length: kAtOnce }, startSome));
}

/// Has each set tell its level, and the hall send commands, evenly over the time.
async function drive(sets, levelRate, hall) {
  const commandRate = Math.min(kMostCommands, Math.max(kFewestCommands, sets.length * kCommands));
  const begin = performance.now();
  let told = 0;
  for (let elapsed = 0; elapsed < kSeconds;) {
    await pause(kTick);
    elapsed = Math.min(kSeconds, (performance.now() - begin) / 1000);
    for (; told < elapsed * levelRate * sets.length; ++told) sets[told % sets.length].tellLevel();
    while (hall.commands < elapsed * commandRate) hall.send(`tv-${1 + hall.commands * 7919 % sets.length}`);
  }
  return told;
}

async function untilAnswered(hall) {
  const end = performance.now() + kPatience;
  while (hall.unanswered > 0 && performance.now() < end) await pause(kTick);
  await hall.settle();
}
