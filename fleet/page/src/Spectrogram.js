import { make } from './dom.js';

const kLowest = 50;
const kMarks = [100, 300, 1000, 3000, 10000];
const kColours = Array.from({ length: 256 }, (_, loudness) => {
  const part = loudness / 255;
  return `hsl(${260 - 220 * part} 90% ${Math.min(92, part * 85 + 4)}%)`;
});

/// Draws what an analyser hears, from left to right, low tones at the bottom.
export class Spectrogram {
  #canvas;
  #marks;
  #context;

  constructor(element) {
    this.#canvas = element.querySelector('canvas');
    this.#marks = element.querySelector('ol');
    this.#context = this.#canvas.getContext('2d', { alpha: false, willReadFrequently: true });
  }

  clear() {
    this.#context.fillStyle = kColours[0];
    this.#context.fillRect(0, 0, this.#canvas.width, this.#canvas.height);
  }

  draw(analyser) {
    const { width, height } = this.#canvas;
    const highest = analyser.context.sampleRate / 2;
    const loudness = new Uint8Array(analyser.frequencyBinCount);
    analyser.getByteFrequencyData(loudness);
    this.#context.drawImage(this.#canvas, -1, 0);
    for (let row = 0; row < height; ++row) {
      const frequency = kLowest * (highest / kLowest) ** (1 - row / height);
      const bin = Math.min(loudness.length - 1, Math.round(frequency / highest * loudness.length));
      this.#context.fillStyle = kColours[loudness[bin]];
      this.#context.fillRect(width - 1, row, 1, 1);
    }
    if (this.#marks.children.length === 0) this.#mark(highest);
  }

  #mark(highest) {
    this.#marks.replaceChildren(...kMarks.map((frequency) => {
      const mark = make('li', {}, frequency < 1000 ? `${frequency} Hz` : `${frequency / 1000} kHz`);
      const part = Math.log(frequency / kLowest) / Math.log(highest / kLowest);
      mark.style.bottom = `${part * 100}%`;
      return mark;
    }));
  }
}
