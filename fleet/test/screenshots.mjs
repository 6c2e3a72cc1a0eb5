// Takes the pictures of the page: light, dark and on a phone. script/screenshots starts it.
// usage: node screenshots.mjs PAGE FOLDER
import { setFirstValues } from '../rack/first_values.mjs';
import { Rack } from '../rack/Rack.mjs';
import { startBrowser } from './Browser.mjs';

const kSets = 10;
const [page, folder] = process.argv.slice(2);

async function take(tab, name) {
  await tab.screenshot({ path: `${folder}/${name}.png` });
  console.log(`docs/pictures/${name}.png`);
}

async function pictureOverview(tab, rack) {
  await tab.locator(`[data-set=tv-${kSets}]`).waitFor();
  await rack.endPart('tv-7', 'service', 'SIGTERM');
  await tab.locator('[data-set=tv-7][data-state=offline]').waitFor();
  await tab.locator('[data-set=tv-4] .controls input[type=checkbox]').click();
  await tab.locator('[data-set=tv-5] .choose').check();
  await tab.locator('[data-set=tv-6] .choose').check();
  await tab.locator('[data-set=tv-1] .listen').click();
  // Until the oldest of what was heard has come to the left edge.
  await tab.waitForFunction(() => {
    const context = document.querySelector('#player canvas').getContext('2d');
    return context.getImageData(0, 0, 60, 96).data.some((value, index) => index % 4 === 1 && value > 100);
  }, undefined, { timeout: 120_000 });
  await tab.mouse.move(0, 0);
  await tab.evaluate(() => document.activeElement.blur());
  await take(tab, 'fleet');
  await tab.locator('#player button').click();
}

async function pictureSet(tab) {
  await tab.emulateMedia({ colorScheme: 'dark' });
  await tab.locator('[data-set=tv-2] .name').click();
  const form = tab.locator('#cmdVolumeSet');
  await form.locator('input[type=range]').fill('62');
  await form.locator('button').click();
  await form.getByText(/taken in/).waitFor();
  await tab.locator('#said-onVolumeInfoNotify dd', { hasText: '62 %' }).waitFor();
  await tab.waitForFunction(() => document.querySelector('#detail .reading').textContent !== 'no sound');
  await take(tab, 'fleet-set');
}

async function picturePhone(tab) {
  await tab.keyboard.press('Escape');
  await tab.setViewportSize({ width: 390, height: 844 });
  await tab.emulateMedia({ colorScheme: 'light' });
  await tab.locator('.choose:checked').first().evaluate(() => {
    for (const box of document.querySelectorAll('.choose:checked')) box.click();
  });
  await tab.waitForFunction(() => document.querySelector('.card .reading').textContent !== 'no sound');
  await tab.evaluate(() => { document.activeElement.blur(); scrollTo(0, 0); });
  await take(tab, 'fleet-phone');
}

const rack = await Rack.start(page, kSets);
const browser = await startBrowser();
try {
  await setFirstValues(rack);
  const tab = await browser.newPage({ viewport: { width: 1280, height: 800 } });
  await tab.goto(rack.broker.page);
  await pictureOverview(tab, rack);
  await pictureSet(tab);
  await picturePhone(tab);
} finally {
  await browser.close();
  await rack.end();
}
