// The page in a real browser, on a real broker, with real sets.
// fleet/test/run starts it.
import assert from 'node:assert/strict';
import { after, before, beforeEach, test } from 'node:test';
import mqtt from 'mqtt';
import { setFirstValues } from '../rack/first_values.mjs';
import { Rack } from '../rack/Rack.mjs';
import { startBrowser } from './Browser.mjs';

const kPatience = 15_000;
const kManySets = 100;

let rack;
let browser;
let page;
let faults;

before(async () => {
  rack = await Rack.start(process.env.AUDVIK_PAGE, 3);
  await setFirstValues(rack);
  browser = await startBrowser();
});

after(async () => {
  await browser?.close();
  await rack?.end();
});

beforeEach(async () => {
  await page?.close();
  page = await browser.newPage({ viewport: { width: 1280, height: 800 } });
  page.setDefaultTimeout(kPatience);
  faults = [];
  page.on('pageerror', (error) => faults.push(error.stack));
  await page.goto(rack.broker.page);
  await card('tv-3').waitFor();
});

function card(name, state = '') {
  return page.locator(`.card[data-set="${name}"]${state && `[data-state=${state}]`}`);
}

function text(selector, pattern) {
  return page.locator(selector, { hasText: pattern }).waitFor();
}

/// Waits until an expression in the page has a value.
function until(expression, argument) {
  return page.waitForFunction(expression, argument);
}

function volumeOf(name, value) {
  return until(([set, wanted]) => document.querySelector(
    `.card[data-set="${set}"] .slider output`)?.value === wanted, [name, value]);
}

test('every set has a card that says what it does', async () => {
  for (const [index, name] of rack.names.entries()) {
    await card(name, 'online').waitFor();
    await volumeOf(name, `${20 + 7 * index} %`);
    await until((set) => Number(document.querySelector(
      `.card[data-set="${set}"] .bars`).getAttribute('aria-valuenow')) > -40, name);
  }
  await text('#count', '3 of 3 online');
  await page.keyboard.press('/');
  await page.keyboard.type('tv-2');
  await text('#count', '3 of 3 online, 1 shown');
  assert.deepEqual(await page.locator('.card:visible .name').allTextContents(), ['tv-2']);
  assert.deepEqual(faults, []);
});

test('a slider that is moved on a card is in what the set says', async () => {
  await volumeOf('tv-1', '20 %');
  await page.locator('[data-set=tv-1] input[type=range]').press('ArrowRight');
  await volumeOf('tv-1', '21 %');
  await page.locator('[data-set=tv-1] .name').press('Enter');
  await text('#said-onVolumeInfoNotify dd', '21 %');
  // The form shows what holds, and sends what is changed in it.
  const slider = page.locator('#cmdVolumeSet input[type=range]');
  await until(() => document.querySelector('#cmdVolumeSet input[type=range]').value === '21');
  await slider.press('End');
  await page.locator('#cmdVolumeSet button').press('Enter');
  await text('#cmdVolumeSet .send', /taken in \d+ ms/);
  await text('#said-onVolumeInfoNotify dd.flash', '100 %');
  await page.keyboard.press('Escape');
  await volumeOf('tv-1', '100 %');
  await until(() => document.activeElement.textContent === 'tv-1');
  assert.deepEqual(faults, []);
});

test('every command has a form whose untouched values the set takes', async () => {
  await page.locator('[data-set=tv-2] .name').click();
  await page.locator('#cmdVolumeSet').waitFor();
  const client = await mqtt.connectAsync(`mqtt://127.0.0.1:${rack.broker.port}`);
  const described = new Promise((resolve) => client.on('message', (_, json) => resolve(JSON.parse(json))));
  await client.subscribeAsync('audvik/tv-2/interface');
  const { commands } = await described;
  await client.endAsync();
  assert.deepEqual(await page.locator('form.command').evaluateAll((forms) => forms.map(({ id }) => id)),
    Object.keys(commands));
  await page.evaluate(() => document.querySelectorAll('form.command').forEach((form) => form.requestSubmit()));
  await until(() => [...document.querySelectorAll('.send output')].every(
    ({ textContent }) => textContent.length > 1));
  // Sound is switched by a lease and by nothing else.
  const refused = page.locator('form:has(.send .bad)');
  assert.deepEqual(await refused.evaluateAll((forms) => forms.map(({ id }) => id)),
    ['cmdEnabelSoundAudioDataCB']);
  assert.deepEqual(faults, []);
});

test('one command goes to all that are chosen', async () => {
  await page.locator('#choose-shown').check();
  await page.locator('#command-chosen', { hasText: 'Command 3 chosen' }).click();
  await page.locator('#cmdMuteSet input[type=checkbox]').check();
  await page.locator('#cmdMuteSet button').click();
  await text('#cmdMuteSet .send', '3 of 3 took it');
  await page.keyboard.press('Escape');
  for (const name of rack.names) {
    await page.locator(`[data-set=${name}] .controls input:checked`).waitFor();
  }
  assert.deepEqual(faults, []);
});

test('a set is heard, and seen in the spectrogram', async () => {
  await page.locator('[data-set=tv-2] .listen').click();
  await text('#player', 'no block lost');
  // A tone: in each column few rows are bright.
  await until(() => {
    const canvas = document.querySelector('#player canvas');
    const { data } = canvas.getContext('2d').getImageData(canvas.width - 1, 0, 1, canvas.height);
    const bright = data.filter((value, index) => index % 4 === 1 && value > 120).length;
    return bright > 0 && bright < canvas.height / 3;
  });
  await page.locator('#player button').click();
  assert.ok(await page.locator('#player').isHidden());
  assert.deepEqual(faults, []);
});

test('a hundred sets come, speak and go without moving anything', async () => {
  const client = await mqtt.connectAsync(`mqtt://127.0.0.1:${rack.broker.port}`);
  const names = Array.from({ length: kManySets }, (_, index) => `shelf-${index}`);
  const tell = (name, what, payload, retain) => client.publishAsync(`audvik/${name}/${what}`, payload, { retain });
  // Anybody may send anything.
  await tell('shelf-0', 'on/onVolumeInfoNotify', 'no JSON', true);
  await Promise.all(names.map((name) => tell(name, 'status', 'online', true)));
  try {
    await page.reload();
    await text('#count', '103 of 103 online');
    await page.evaluate(() => {
      window.moved = [];
      new PerformanceObserver((list) => window.moved.push(...list.getEntries().flatMap(({ sources }) =>
        sources.map(({ node }) => node?.textContent)))).observe({ type: 'layout-shift', buffered: true });
    });
    for (let round = 0; round < 5; ++round) {
      await Promise.all(names.map((name, index) => tell(name, 'level', JSON.stringify(
        { peak: [-round * 9, -round], rms: [-20, -index / 2], loudness: -round * 15 }))));
      await Promise.all(names.map((name) => tell(name, 'on/onVolumeInfoNotify',
        JSON.stringify({ time: 1, arguments: { field1: 0, field2: round * 25 } }), true)));
      await volumeOf(names.at(-1), `${round * 25} %`);
    }
    await Promise.all(names.map((name) => tell(name, 'status', 'offline: switched off by its owner', true)));
    await text('#count', '3 of 103 online');
    await tell(names[0], 'status', 'online', true);
    await card(names[0], 'online').waitFor();
    assert.equal(await card(names[0]).locator('.reason').textContent(), '');
    assert.deepEqual(await page.evaluate(() => window.moved), []);
    assert.deepEqual(faults, []);
  } finally {
    await Promise.all(names.flatMap((name) => [tell(name, 'status', '', true),
      tell(name, 'on/onVolumeInfoNotify', '', true)]));
    await client.endAsync();
  }
  await text('#count', '3 of 3 online');
});

test('the page says when a service, a bridge or the broker is away', async () => {
  await rack.endPart('tv-2', 'service', 'SIGTERM');
  await card('tv-2', 'offline').getByText(/no sound service at/).waitFor();
  await rack.endPart('tv-3', 'bridge', 'SIGKILL');
  await card('tv-3', 'offline').waitFor();
  await text('#count', '1 of 3 online');

  await rack.broker.end();
  await text('#broker', /broker at .* is away/);
  for (const name of rack.names) await card(name, 'unknown').waitFor();
  await text('#count', '0 of 3 online');
  await rack.broker.startAgain();
  await text('#broker', 'Connected');
  await card('tv-1', 'online').waitFor();
  await card('tv-2', 'offline').waitFor();
  await page.locator('[data-set=tv-1] input[type=range]').press('Home');
  await volumeOf('tv-1', '0 %');
  assert.deepEqual(faults, []);
});
