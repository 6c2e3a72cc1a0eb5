import { Card, kCardTopics } from './Card.js';
import { oncePerFrame } from './dom.js';

// Sets that are already there come within moments of each other, in no order.
const kSettled = 150;
const kByName = new Intl.Collator(undefined, { numeric: true }).compare;

/// All sets as cards. A card keeps its place once it has one: cards that come later are put after
/// those that are there, lest something moves away from under a finger.
export class Overview {
  #broker;
  #fleet;
  #actions;
  #cards = new Map();
  #unplaced = [];
  #timer;
  #grid = document.getElementById('grid');
  #filter = document.getElementById('filter');
  #count = document.getElementById('count');
  #command = document.getElementById('command-chosen');
  #chooseShown = document.getElementById('choose-shown');
  #recount = oncePerFrame(() => this.#showCounts());
  // Levels come often, so that only those in sight are asked for.
  #sight = new IntersectionObserver((entries) => entries.forEach((entry) => this.#see(entry)),
    { rootMargin: '50px' });

  constructor(broker, fleet, actions) {
    this.#broker = broker;
    this.#fleet = fleet;
    this.#actions = { ...actions, choose: () => this.#recount() };
    for (const topic of kCardTopics) broker.want(`audvik/+/${topic}`);
    fleet.addEventListener('set', ({ detail: { set } }) => this.#add(set));
    fleet.addEventListener('gone', ({ detail: { set } }) => this.#remove(set));
    fleet.addEventListener('status', ({ detail: { set } }) => {
      this.#cards.get(set.name)?.update();
      this.#show(set.name);
    });
    fleet.addEventListener('on', ({ detail: { set } }) => this.#cards.get(set.name)?.update());
    fleet.addEventListener('level', ({ detail: { set, level } }) =>
      this.#cards.get(set.name)?.meter.show(level));
    this.#filter.addEventListener('input', () => this.#showAll());
    this.#chooseShown.addEventListener('change', () => {
      for (const card of this.#cards.values()) {
        card.isChosen = card.isShown && this.#chooseShown.checked;
      }
      this.#recount();
    });
    this.#command.addEventListener('click', () => actions.command(this.#chosen()));
  }

  #add(set) {
    this.#cards.set(set.name, new Card(set, this.#actions));
    this.#unplaced.push(set.name);
    clearTimeout(this.#timer);
    this.#timer = setTimeout(() => this.#place(), kSettled);
  }

  #place() {
    const cards = this.#unplaced.sort(kByName).map((name) => this.#cards.get(name));
    this.#unplaced = [];
    this.#grid.append(...cards.map(({ element }) => element));
    for (const { element } of cards) this.#sight.observe(element);
    this.#showAll();
  }

  #remove({ name }) {
    const { element } = this.#cards.get(name);
    this.#sight.unobserve(element);
    if (element.dataset.inSight) this.#broker.release(`audvik/${name}/level`);
    element.remove();
    this.#cards.delete(name);
    this.#unplaced = this.#unplaced.filter((each) => each !== name);
    this.#recount();
  }

  #see({ target, isIntersecting }) {
    const topic = `audvik/${target.dataset.set}/level`;
    if (isIntersecting && !target.dataset.inSight) {
      target.dataset.inSight = true;
      this.#broker.want(topic);
    } else if (!isIntersecting && target.dataset.inSight) {
      delete target.dataset.inSight;
      this.#broker.release(topic);
    }
  }

  #show(name) {
    this.#cards.get(name)?.filter(this.#filter.value.trim().toLowerCase());
    this.#recount();
  }

  #showAll() {
    for (const name of this.#cards.keys()) this.#show(name);
  }

  #chosen() {
    return [...this.#cards].filter(([, card]) => card.isChosen).map(([name]) => name).sort(kByName);
  }

  #showCounts() {
    const cards = [...this.#cards.values()];
    const shown = cards.filter(({ isShown }) => isShown).length;
    const online = this.#fleet.names()
      .filter((name) => this.#fleet.get(name).state === 'online').length;
    const chosen = this.#chosen().length;
    this.#count.textContent = `${online} of ${cards.length} online` +
      (shown === cards.length ? '' : `, ${shown} shown`);
    this.#command.textContent = chosen === 0 ? 'Command the chosen…' : `Command ${chosen} chosen…`;
    this.#command.disabled = chosen === 0;
    this.#chooseShown.checked = chosen > 0 && chosen === shown;
  }
}
