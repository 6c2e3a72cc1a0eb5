const kRenewal = 2000;
// Seconds: what is kept in hand against a network that hesitates, and what is too much of it.
const kInHand = 0.15;
const kTooMuch = 0.6;

/// Plays what one set plays, by a lease that is renewed while somebody listens. Web Audio's plain
/// nodes do it, since the others are not there on a page that comes without TLS.
export class Listener {
  #broker;
  #set = null;
  #context = null;
  #timer;
  #due = 0;
  #expected = 0;
  heard = 0;
  lost = 0;
  analyser = null;

  constructor(broker) {
    this.#broker = broker;
  }

  get set() {
    return this.#set;
  }

  start(set) {
    this.stop();
    this.#set = set;
    this.#broker.want(this.#topic);
    this.#renew();
    this.#timer = setInterval(() => this.#renew(), kRenewal);
  }

  stop() {
    if (this.#set === null) return;
    clearInterval(this.#timer);
    this.#broker.release(this.#topic);
    this.#set = null;
    this.#closeContext();
    this.heard = this.lost = this.#expected = 0;
  }

  take(set, packet) {
    if (set !== this.#set) return;
    const { rate, channels, block } = packet.properties.userProperties;
    this.#count(Number(block));
    if (this.#context?.sampleRate !== Number(rate)) this.#openContext(Number(rate));
    this.#play(samplesOf(packet.payload, Number(channels)), Number(rate));
  }

  get #topic() {
    return `audvik/${this.#set.name}/audio`;
  }

  #renew() {
    this.#broker.lease(this.#set.name);
  }

  #count(block) {
    // Another listener's lease may have begun before this one.
    if (this.heard > 0 && block > this.#expected) this.lost += block - this.#expected;
    this.#expected = block + 1;
    this.heard += 1;
  }

  #openContext(sampleRate) {
    this.#closeContext();
    this.#context = new AudioContext({ sampleRate });
    this.analyser = this.#context.createAnalyser();
    this.analyser.smoothingTimeConstant = 0.3;
    this.analyser.connect(this.#context.destination);
    this.#due = 0;
  }

  #closeContext() {
    this.#context?.close();
    this.#context = this.analyser = null;
  }

  #play(channels, rate) {
    const now = this.#context.currentTime;
    if (this.#due < now) this.#due = now + kInHand;
    if (channels[0].length === 0 || this.#due > now + kTooMuch) return;
    const buffer = this.#context.createBuffer(channels.length, channels[0].length, rate);
    channels.forEach((samples, index) => buffer.copyToChannel(samples, index));
    const source = this.#context.createBufferSource();
    source.buffer = buffer;
    source.connect(this.analyser);
    source.start(this.#due);
    this.#due += buffer.duration;
  }
}

/// Takes interleaved 16-bit little-endian samples apart, into those of each channel.
function samplesOf(payload, channels) {
  const view = new DataView(payload.buffer, payload.byteOffset, payload.byteLength);
  const frames = Math.floor(payload.byteLength / 2 / channels);
  return Array.from({ length: channels }, (_, channel) => Float32Array.from({ length: frames },
    (__, frame) => view.getInt16((frame * channels + channel) * 2, true) / 32768));
}
