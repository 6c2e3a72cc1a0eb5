import { flash, make } from './dom.js';
import { fieldsOf, labelOf, resolve, textOf } from './schema.js';

/// What one notification last said; what has changed in it flashes.
export class Said {
  #values = new Map();
  #time = make('time');

  constructor(name, schema, root) {
    for (const [field, part] of fieldsOf(schema)) {
      const whole = resolve(part, root);
      const value = make('dd', {}, '–');
      this.#values.set(field, { value, whole, label: make('dt', {}, labelOf(field, whole)) });
    }
    const list = make('dl', {}, ...[...this.#values.values()].map(({ label, value }) =>
      make('div', {}, label, value)));
    this.element = make('div', { className: 'notification', id: `said-${name}` },
      make('h3', {}, name, this.#time), list);
    this.show(undefined, false);
  }

  show(heard, isNews) {
    this.element.classList.toggle('unheard', heard === undefined);
    this.#time.textContent =
      heard === undefined ? 'not heard yet' : new Date(heard.time * 1000).toLocaleTimeString();
    if (isNews) flash(this.#time);
    for (const [field, { value, whole }] of this.#values) {
      const text = heard === undefined ? '–' : textOf(heard.arguments[field], whole);
      if (value.textContent === text) continue;
      value.textContent = text;
      if (isNews) flash(value);
    }
  }
}
