import { readFile } from 'node:fs/promises';
import { execFileSync } from 'node:child_process';

const kTicks = Number(execFileSync('getconf', ['CLK_TCK']));

/// What a process has used so far: {seconds} of processor time, {bytes} of memory.
export async function costOf(id) {
  const [stat, status] = await Promise.all(['stat', 'status'].map((file) =>
    readFile(`/proc/${id}/${file}`, 'utf8')));
  // Fields 14 and 15; the second is the program's name in parentheses.
  const fields = stat.slice(stat.lastIndexOf(')') + 2).split(' ');
  return {
    seconds: (Number(fields[11]) + Number(fields[12])) / kTicks,
    bytes: Number(/^VmRSS:\s*(\d+) kB$/m.exec(status)[1]) * 1024,
  };
}
