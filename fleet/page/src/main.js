import { Broker } from './Broker.js';
import { Detail } from './Detail.js';
import { Fleet } from './Fleet.js';
import { Overview } from './Overview.js';
import { Player } from './Player.js';

const kSet = /^#set=(.+)$/;
const kChosen = '#chosen';

const login = document.getElementById('login');
const fleet = new Fleet();
const broker = new Broker(new URL('/', location.href.replace(/^http/, 'ws')).href, {
  up: () => say('up', `Connected to ${location.host}`),
  down(seconds) {
    fleet.loseSight();
    say('down', `The broker at ${location.host} is away. Trying again in ${Math.ceil(seconds)} s`);
  },
  refused() {
    login.hidden = false;
    say('down', `The broker at ${location.host} refused the connection`);
  },
  message(topic, packet) {
    try {
      fleet.take(topic, packet);
    } catch (error) {
      console.warn(`${topic}: ${error.message}`);  // Anybody may have sent it.
    }
  },
});
const player = new Player(broker, fleet);
let chosen = [];
let detail = null;

const listen = (set) => player.toggle(set);
const send = (set, command, fields) => broker.send(set.name, command, fields);
function command(names) {
  chosen = names;
  location.hash = kChosen;
}
new Overview(broker, fleet, { listen, send, command });

function say(state, text) {
  const line = document.getElementById('broker');
  line.dataset.state = state;
  line.textContent = text;
}

function namesIn(hash) {
  const set = kSet.exec(hash);
  if (set !== null) return [decodeURIComponent(set[1])];
  return hash === kChosen ? chosen : [];
}

function route() {
  const names = namesIn(location.hash);
  const before = detail?.names;
  detail?.view.close();
  detail = null;
  document.getElementById('overview').hidden = names.length > 0;
  document.getElementById('detail').hidden = names.length === 0;
  if (names.length > 0) {
    detail = { names, view: new Detail(broker, fleet, names, { listen }) };
    return;
  }
  // Back to where one came from.
  const card = before && document.querySelector(`[data-set="${CSS.escape(before[0])}"] .name`);
  card?.focus();
}

addEventListener('hashchange', route);
addEventListener('keydown', (event) => {
  if (event.key === 'Escape' && detail !== null) location.hash = '';
  if (event.key !== '/' || event.target.matches('input[type=text], input[type=search]')) return;
  event.preventDefault();
  (detail === null ? document.getElementById('filter') : document.querySelector('.find')).focus();
});
login.addEventListener('submit', (event) => {
  event.preventDefault();
  login.hidden = true;
  broker.connect(Object.fromEntries(new FormData(login)));
});

broker.connect();
route();
