import { fromTemplate, oncePerFrame } from './dom.js';

const kLowest = -60;
const kSilentAfter = 1000;

/// Shows levels as they come, and none when none come.
export class Meter {
  #bars;
  #scale;
  #reading;
  #level = null;
  #timer;
  #draw = oncePerFrame(() => this.#show());

  constructor(element) {
    element.append(fromTemplate('meter-template'));
    this.#scale = element.querySelector('.bars');
    this.#bars = [...element.querySelectorAll('.bar')];
    this.#reading = element.querySelector('.reading');
    this.#show();
  }

  show(level) {
    this.#level = level;
    clearTimeout(this.#timer);
    this.#timer = setTimeout(() => {
      this.#level = null;
      this.#draw();
    }, kSilentAfter);
    this.#draw();
  }

  #show() {
    const { rms = [], peak = [], loudness = null } = this.#level ?? {};
    this.#bars.forEach((bar, index) => {
      // A single channel is in both ears.
      const channel = Math.min(index, rms.length - 1);
      bar.style.setProperty('--rms', partOf(rms[channel]));
      bar.style.setProperty('--peak', partOf(peak[channel]));
    });
    const highest = Math.max(...peak, -Infinity);
    this.#scale.setAttribute('aria-valuenow', Math.max(kLowest, Math.min(0, highest)));
    this.#reading.textContent = this.#level === null ? 'no sound' :
      `${highest.toFixed(1)} dB` + (loudness === null ? '' : ` · ${loudness.toFixed(1)} LUFS`);
  }
}

function partOf(decibels = kLowest) {
  return Math.max(0, Math.min(1, 1 - decibels / kLowest));
}
