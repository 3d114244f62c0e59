// The page shows what X clients draw.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import test from 'node:test';
import { Desktop, waitFor } from './Desktop.js';
import { assertSame, Page, startBrowser } from './Page.js';

test('the page shows the desktop pixel for pixel, and follows it', async () => {
  const desktop = await Desktop.start();
  const browser = await startBrowser();
  try {
    desktop.run('xsetroot', '-mod', '16', '5', '-fg', '#ff8800', '-bg', '#0044aa');
    desktop.start('xlogo', '-geometry', '200x150+20+30');
    desktop.start('xterm', '-geometry', '60x10+300+200', '-e', 'printf "Grüße\\n\\033[31mred\\n"; cat');
    const page = await Page.open(browser, await desktop.startService());
    await page.waitForDesktop();
    await page.showActualSize();
    const same = async () => (assertSame(await page.picture(), desktop.picture()), true);
    await waitFor('the first picture', same);

    // Large and plain, small, and everywhere.
    desktop.run('xsetroot', '-solid', '#123456');
    await waitFor('a plain ground', same);
    desktop.start('xclock', '-geometry', '101x97+5+480');
    await waitFor('another window', same);
    desktop.start('timeout', '2', 'ico', '-geometry', '400x400+200+100', '-sleep', '0.01');
    desktop.run('sleep', '1');
    desktop.run('xrefresh');
    await waitFor('the end of the movement', same);

    const download = page.browserPage.waitForEvent('download');
    await page.browserPage.click('#picture');
    const saved = await (await download).path();
    await waitFor('the same picture in the file', async () => {
      assertSame(await page.decode(readFileSync(saved)), desktop.picture());
      return true;
    });

    const recording = page.browserPage.waitForEvent('download');
    await page.browserPage.click('#record');
    await waitFor('the recording', async () => {
      desktop.run('xrefresh');
      return /[1-9]/.test((await page.browserPage.getAttribute('#record', 'title'))!);
    });
    await page.browserPage.click('#record');
    assert.equal(
      readFileSync(await (await recording).path()).readUInt32BE(0),
      0x1a45dfa3,
      'the mark of WebM',
    );
  } finally {
    await browser.close();
    await desktop.end();
  }
});
