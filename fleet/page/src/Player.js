import { Listener } from './Listener.js';
import { Spectrogram } from './Spectrogram.js';

/// The bar at the foot of the page: which set is heard, and how that looks.
export class Player {
  #listener;
  #element = document.getElementById('player');
  #spectrogram = new Spectrogram(this.#element.querySelector('.spectrogram'));

  constructor(broker, fleet) {
    this.#listener = new Listener(broker);
    fleet.addEventListener('audio', ({ detail }) => this.#listener.take(detail.set, detail.packet));
    this.#element.querySelector('button').addEventListener('click', () => this.#stop());
  }

  /// Begins to listen to a set, or ends it if that is heard already.
  toggle(set) {
    if (this.#listener.set === set) {
      this.#stop();
      return;
    }
    this.#listener.start(set);
    this.#spectrogram.clear();
    this.#element.querySelector('b').textContent = set.name;
    this.#element.hidden = false;
    document.body.classList.add('listening');
    requestAnimationFrame(() => this.#draw(set));
  }

  #stop() {
    this.#listener.stop();
    this.#element.hidden = true;
    document.body.classList.remove('listening');
  }

  #draw(set) {
    const { analyser, heard, lost } = this.#listener;
    if (this.#listener.set !== set) return;
    this.#element.querySelector('[role=status]').textContent = stateOf(set, heard, lost);
    if (analyser !== null) this.#spectrogram.draw(analyser);
    requestAnimationFrame(() => this.#draw(set));
  }
}

function stateOf({ state }, heard, lost) {
  if (state !== 'online') return `is ${state}`;
  if (heard === 0) return 'waiting for sound…';
  return lost === 0 ? 'no block lost' : `${lost} blocks lost`;
}
