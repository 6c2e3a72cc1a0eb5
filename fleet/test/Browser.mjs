import { chromium } from 'playwright-core';
import os from 'node:os';

const kChromium = '/usr/bin/chromium';

/// Debian's browser, without a screen. Sound begins without a click, which nobody is there to make.
export function startBrowser() {
  const options = ['--autoplay-policy=no-user-gesture-required'];
  // Its sandbox refuses to be root's.
  if (os.userInfo().uid === 0) options.push('--no-sandbox');
  return chromium.launch({ executablePath: kChromium, args: options });
}
