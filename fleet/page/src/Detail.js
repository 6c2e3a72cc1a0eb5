import { fromTemplate, make, oncePerFrame } from './dom.js';
import { makeFields } from './field.js';
import { Meter } from './Meter.js';
import { Said } from './Said.js';
import { hasFieldsOf } from './schema.js';

// A longer form is closed at first.
const kShortForm = 8;

/// Every command as a form, for one set beside what its notifications last said, or for several.
export class Detail {
  #broker;
  #fleet;
  #names;
  #root = document.getElementById('detail');
  #said = new Map();  // notification -> Said
  #followers = new Map();  // notification -> what takes its arguments into a form
  #topics;
  #listening = new AbortController();

  constructor(broker, fleet, names, actions) {
    this.#broker = broker;
    this.#fleet = fleet;
    this.#names = names;
    this.#root.replaceChildren(fromTemplate('detail-template'));
    this.#root.classList.toggle('single', this.#set !== null);
    this.#part('h2').textContent = this.#set === null ? `${names.length} sets` : names[0];
    this.#part('h2').title = names.join(', ');
    this.#part('.find').addEventListener('input', ({ target }) => this.#find(target.value));
    if (this.#set === null) this.#part('.meter').textContent = names.join(', ');
    else this.#follow(this.#set, actions);
    this.#hear('interface', ({ set }) => this.#takeInterface(set));
    const topics = this.#set === null ? ['interface'] : ['interface', 'on/+', 'level'];
    this.#topics = topics.map((topic) => `audvik/${names[0]}/${topic}`);
    for (const topic of this.#topics) broker.want(topic);
    this.#part('h2').focus();
  }

  close() {
    this.#listening.abort();
    for (const topic of this.#topics) this.#broker.release(topic);
    this.#root.replaceChildren();
  }

  get #set() {
    return this.#names.length === 1 ? this.#fleet.get(this.#names[0]) ?? { name: this.#names[0],
      state: 'unknown', reason: '', heard: new Map() } : null;
  }

  #part(selector) {
    return this.#root.querySelector(selector);
  }

  #hear(what, take) {
    this.#fleet.addEventListener(what, ({ detail }) => {
      if (detail.set.name === this.#names[0]) take(detail);
    }, { signal: this.#listening.signal });
  }

  #follow(set, actions) {
    const meter = new Meter(this.#part('.meter'));
    this.#part('.listen').addEventListener('click', () => actions.listen(this.#set));
    this.#hear('level', ({ level }) => meter.show(level));
    this.#hear('on', ({ which, isNews }) => this.#show(which, isNews));
    this.#hear('status', () => this.#showStatus());
    this.#showStatus();
  }

  #showStatus() {
    const { state, reason } = this.#set;
    this.#part('.toolbar').dataset.state = state;
    this.#part('.state').textContent = reason === '' ? state : `${state}: ${reason}`;
    this.#part('.listen').disabled = state !== 'online';
    for (const name of this.#said.keys()) this.#show(name, false);
  }

  #show(name, isNews) {
    const heard = this.#set.heard.get(name);
    this.#said.get(name)?.show(heard, isNews);
    if (heard !== undefined) this.#followers.get(name)?.(heard.arguments);
  }

  #takeInterface({ interface: root }) {
    if (root === null || this.#said.size + this.#followers.size > 0) return;
    this.#part('.waiting').hidden = true;
    const notifications = Object.entries(root.notifications);
    const rows = Object.entries(root.commands).map(([command, schema]) =>
      this.#makeRow(command, schema, notifications.filter(([, each]) => each.command === command), root));
    const others = notifications.filter(([, { command }]) => !(command in root.commands));
    if (others.length > 0) rows.push(this.#makeRow(null, {}, others, root));
    this.#part('.rows').replaceChildren(...rows);
    for (const name of this.#said.keys()) this.#show(name, false);
  }

  #makeRow(command, schema, notifications, root) {
    const row = fromTemplate('row-template').firstElementChild;
    const names = [command, ...notifications.map(([name]) => name)];
    row.dataset.names = names.join(' ').toLowerCase();
    if (command === null) row.querySelector('form').replaceChildren();
    else this.#fillForm(row.querySelector('form'), command, schema, notifications, root);
    if (this.#set === null) return row;
    for (const [name, each] of notifications.filter(([, { relation }]) => relation !== 'streams')) {
      const said = new Said(name, each, root);
      this.#said.set(name, said);
      row.querySelector('.said').append(said.element);
    }
    return row;
  }

  #fillForm(form, command, schema, notifications, root) {
    form.querySelector('h3').textContent = command;
    form.id = command;
    const fields = makeFields(schema, root);
    const place = form.querySelector('.fields');
    place.append(...fields.elements);
    if (fields.elements.length > kShortForm) {
      const more = make('details', { className: 'long' },
        make('summary', {}, `${fields.elements.length} fields`));
      place.replaceWith(more);
      more.append(place);
    }
    this.#keepUp(form, fields, schema, notifications);
    form.addEventListener('submit', (event) => {
      event.preventDefault();
      this.#send(form, command, fields.get());
    });
  }

  /// A form shows what holds now, until somebody changes it.
  #keepUp(form, fields, schema, notifications) {
    form.addEventListener('input', () => { form.dataset.edited = true; });
    for (const [name, each] of notifications) {
      if (each.relation !== 'reports' || !hasFieldsOf(schema, each)) continue;
      this.#followers.set(name, (values) => {
        if (!form.dataset.edited) fields.set(values);
      });
    }
  }

  async #send(form, command, values) {
    delete form.dataset.edited;
    const output = form.querySelector('.send output');
    output.replaceChildren('…');
    const begin = performance.now();
    const answers = await Promise.all(this.#names.map((name) =>
      this.#broker.send(name, command, values).then(() => null, ({ message }) => [name, message])));
    const errors = answers.filter((answer) => answer !== null);
    const taken = answers.length - errors.length;
    const verdict = make('span', { className: errors.length === 0 ? 'good' : 'bad' });
    verdict.textContent = this.#set !== null
      ? errors[0]?.[1] ?? `taken in ${(performance.now() - begin).toFixed(0)} ms`
      : `${taken} of ${answers.length} took it`;
    output.replaceChildren(verdict);
    if (this.#set !== null || errors.length === 0) return;
    output.append(make('ul', {}, ...errors.map((error) => make('li', {}, error.join(': ')))));
  }

  #find(text) {
    const wanted = text.trim().toLowerCase();
    for (const row of this.#root.querySelectorAll('.row')) {
      row.hidden = !row.dataset.names.includes(wanted);
    }
  }
}
