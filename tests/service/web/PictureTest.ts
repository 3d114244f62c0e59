// The page shows what X clients draw.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import test from 'node:test';
import { Desktop, Picture, waitFor } from './Desktop.js';
import { assertSame, withPage } from './Page.js';

function drawSomething(desktop: Desktop): void {
  desktop.run('xsetroot', '-mod', '16', '5', '-fg', '#ff8800', '-bg', '#0044aa');
  desktop.start('xlogo', '-geometry', '200x150+20+30');
  desktop.start('xterm', '-geometry', '60x10+300+200', '-e', 'printf "Grüße\\n\\033[31mred\\n"; cat');
}

test('the page shows the desktop pixel for pixel, and follows it', () =>
  withPage(async (page, desktop) => {
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
  }, drawSomething));

test('a screenshot and a recording are saved', () =>
  withPage(async (page, desktop) => {
    await waitFor('the picture', async () => (assertSame(await page.picture(), desktop.picture()), true));
    const screenshot = page.browserPage.waitForEvent('download');
    await page.browserPage.click('#picture');
    assertSame(await page.decode(readFileSync(await (await screenshot).path())), desktop.picture());

    const recording = page.browserPage.waitForEvent('download');
    await page.browserPage.click('#record');
    await waitFor('the recording', async () =>
      /[1-9]/.test((await page.browserPage.getAttribute('#record', 'title'))!),
    );
    // Twice, as by a double click: the next recording leaves this one whole.
    await page.browserPage.evaluate(() => {
      const record = document.getElementById('record')!;
      record.click();
      record.click();
    });
    const file = readFileSync(await (await recording).path());
    assert.equal(file.toString('hex', 0, 4), '1a45dfa3', 'the recording has its beginning');
    // In a page of its own, for the viewer's loads nothing from elsewhere.
    const player = await page.browserPage.context().newPage();
    const { duration, played, width, height } = await player.evaluate(async (address) => {
      const video = document.createElement('video');
      video.src = address;
      await new Promise((resolve) => (video.onloadedmetadata = video.onerror = resolve));
      const { duration, videoWidth: width, videoHeight: height } = video;
      video.muted = true;
      void video.play();
      await new Promise((resolve) => (video.onended = video.onerror = resolve));
      return { duration, played: video.currentTime, width, height };
    }, `data:video/webm;base64,${file.toString('base64')}`);
    assert.deepEqual([width, height], [800, 600]);
    assert.ok(Number.isFinite(duration) && duration > 0 && played > 0, `${duration} s, ${played} s played`);
  }, drawSomething));

test('one monitor of two is shown by itself', () =>
  withPage(async (page, desktop) => {
    desktop.run('xrandr', '--setmonitor', 'left', '400/100x600/150+0+0', 'screen');
    desktop.run('xrandr', '--setmonitor', 'right', '400/100x600/150+400+0', 'none');
    await waitFor('the choice', () => page.isVisible('monitor'));
    await page.browserPage.selectOption('#monitor', { label: 'Monitor 2' });
    await waitFor('the right half', async () => {
      assertSame(await page.picture(), rightHalf(desktop.picture()));
      return true;
    });
  }, drawSomething));

function rightHalf({ width, height, pixels }: Picture): Picture {
  const half = width / 2;
  return { width: half, height, pixels: pixels.filter((_, i) => i % width >= half) };
}
