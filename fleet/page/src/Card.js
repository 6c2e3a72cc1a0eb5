import kControls from '../card.json';
import { fromTemplate, oncePerFrame } from './dom.js';
import { makeField } from './field.js';
import { Meter } from './Meter.js';

/// What the overview listens to of every set, whether its card is in sight or not.
export const kCardTopics = ['status', ...kControls.map(({ notification }) => `on/${notification}`)];

/// One set in the overview. Its size is the same whatever it shows.
export class Card {
  #set;
  #controls;
  #complaint = '';
  #draw = oncePerFrame(() => this.#show());

  /// @param actions  send(set, command, fields), listen(set), choose()
  constructor(set, actions) {
    this.#set = set;
    this.element = fromTemplate('card-template').firstElementChild;
    this.element.dataset.set = set.name;
    this.meter = new Meter(this.#part('.meter'));
    this.#part('.name').textContent = set.name;
    this.#part('.name').href = `#set=${encodeURIComponent(set.name)}`;
    this.#part('.choose').ariaLabel = `Choose ${set.name}`;
    this.#part('.choose').addEventListener('change', () => actions.choose());
    this.#part('.listen').ariaLabel = `Listen to ${set.name}`;
    this.#part('.listen').addEventListener('click', () => actions.listen(set));
    this.#controls = kControls.map((control) => this.#makeControl(control, actions));
    this.#show();
  }

  get isChosen() {
    return this.#part('.choose').checked;
  }

  set isChosen(value) {
    this.#part('.choose').checked = value;
  }

  get isShown() {
    return !this.element.hidden;
  }

  /// Shows the card if its name, or the beginning of its state, is what is looked for.
  filter(text) {
    const { name, state } = this.#set;
    this.element.hidden = !name.toLowerCase().includes(text) && !state.startsWith(text);
  }

  update() {
    this.#draw();
  }

  #part(selector) {
    return this.element.querySelector(selector);
  }

  #makeControl({ label, notification, command, field, schema }, actions) {
    const input = makeField(field, { title: label, ...schema });
    input.element.addEventListener('change', () => {
      // What else the command sets stays as it is.
      const others = this.#set.heard.get(notification)?.arguments;
      actions.send(this.#set, command, { ...others, [field]: input.get() })
        .then(() => this.#complain(''), (error) => this.#complain(error.message));
    });
    this.#part('.controls').append(input.element);
    return { ...input, notification, field };
  }

  #complain(message) {
    this.#complaint = message;
    this.#show();
  }

  #show() {
    const { state, reason, heard } = this.#set;
    const isOnline = state === 'online';
    this.element.dataset.state = state;
    this.#part('.state').textContent = state;
    if (!isOnline) this.#complaint = '';  // It was about what is over.
    const said = isOnline ? this.#complaint : reason;
    Object.assign(this.#part('.reason'), { textContent: said, title: said });
    this.#part('.listen').disabled = !isOnline;
    for (const { element, set, notification, field } of this.#controls) {
      const value = heard.get(notification)?.arguments[field];
      const input = element.querySelector('input');
      input.disabled = !isOnline;
      element.classList.toggle('unheard', value === undefined);
      if (value !== undefined) set(value);
    }
  }
}
