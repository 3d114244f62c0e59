// The page gets over the death of each process, or says why not.
import assert from 'node:assert/strict';
import test from 'node:test';
import { waitFor } from './Desktop.js';
import { assertSame, withPage } from './Page.js';

test('the picture comes back after the observer was killed', () =>
  withPage(async (page, desktop) => {
    for (const colour of ['#336699', '#996633']) {
      const killed = desktop.observer();
      process.kill(killed, 'SIGKILL');
      desktop.run('xsetroot', '-solid', colour);
      await waitFor('another observer', () => desktop.observer() !== killed);
      await waitFor('the picture', async () => (assertSame(await page.picture(), desktop.picture()), true));
      assert.equal(await page.message(), '');
    }
  }));

test('a service that was started anew asks for its own token', () =>
  withPage(async (page, desktop, address) => {
    await desktop.killService();
    await waitFor('the message', async () => (await page.message()) === 'Connection lost');
    const renewed = await desktop.startService('--port', new URL(address).port);
    await waitFor('the end of the old token', async () => (await page.message()) === 'Signed out');
    await page.browserPage.click('#overlay-action');
    await page.browserPage.fill('#token', new URL(renewed).searchParams.get('token')!);
    await page.browserPage.press('#token', 'Enter');
    await page.waitForDesktop();
    await page.showActualSize();
    await waitFor('the picture', async () => (assertSame(await page.picture(), desktop.picture()), true));
  }));

test('a display that has gone is explained', () =>
  withPage(async (page, desktop) => {
    await desktop.killServer();
    await waitFor('the message', async () => (await page.message()) === 'No picture');
    assert.notEqual(await page.text('overlay-text'), '');
    await waitFor('a way back', () => page.isVisible('overlay-action'));
  }));
