/// What is known of one set. Nothing of it is kept longer than it is sure to be true.
class TvSet {
  state = 'unknown';
  reason = '';
  interface = null;
  heard = new Map();  // notification -> {time, arguments}

  constructor(name) {
    this.name = name;
  }
}

/// All sets that the broker has told of. Tells of each change by an event of the name of what
/// changed: "set" (a new one), "status", "interface", "on", "level", "audio", "gone".
export class Fleet extends EventTarget {
  #sets = new Map();

  get(name) {
    return this.#sets.get(name);
  }

  names() {
    return [...this.#sets.keys()];
  }

  /// Takes a message of the broker's: audvik/SET/WHAT or audvik/SET/on/NAME.
  take(topic, packet) {
    const [, name, what, which] = topic.split('/');
    const text = what === 'audio' ? '' : String(packet.payload);
    if (what === 'status' && text === '') {
      this.#forget(name);
      return;
    }
    const isKept = what !== 'level' && what !== 'audio';
    const set = this.#sets.get(name) ?? (isKept && text !== '' ? this.#add(name) : undefined);
    if (set === undefined) return;
    if (what === 'status') this.#setStatus(set, text);
    if (what === 'interface') set.interface = text === '' ? null : JSON.parse(text);
    if (what === 'on' && text === '') set.heard.delete(which);
    if (what === 'on' && text !== '') set.heard.set(which, JSON.parse(text));
    const detail = { set, which, isNews: !packet.retain };
    if (what === 'level') detail.level = JSON.parse(text);
    if (what === 'audio') detail.packet = packet;
    this.#tell(what, detail);
  }

  /// Without the broker nobody knows what the sets do.
  loseSight() {
    for (const set of this.#sets.values()) {
      set.heard.clear();
      this.#setStatus(set, 'unknown');
      this.#tell('status', { set });
    }
  }

  #add(name) {
    const set = new TvSet(name);
    this.#sets.set(name, set);
    this.#tell('set', { set });
    return set;
  }

  #setStatus(set, text) {
    const [, state, reason] = /^([^:]*):?\s*(.*)$/s.exec(text);
    set.state = state;
    set.reason = reason;
  }

  #forget(name) {
    const set = this.#sets.get(name);
    if (!this.#sets.delete(name)) return;
    this.#tell('gone', { set });
  }

  #tell(what, detail) {
    this.dispatchEvent(new CustomEvent(what, { detail }));
  }
}
