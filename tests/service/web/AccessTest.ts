// Who has not the token gets nothing, and a page that misbehaves loses its connection.
import assert from 'node:assert/strict';
import test from 'node:test';
import { Browser } from 'playwright-core';
import { Desktop, waitFor } from './Desktop.js';
import { Page, startBrowser } from './Page.js';

async function withService(act: (address: URL, browser: Browser) => Promise<void>): Promise<void> {
  const desktop = await Desktop.start();
  const browser = await startBrowser();
  try {
    await act(new URL(await desktop.startService()), browser);
  } finally {
    await browser.close();
    await desktop.end();
  }
}

test('a wrong token leads to the form, the right one to the desktop, and the address forgets it', () =>
  withService(async (address, browser) => {
    const page = await Page.open(browser, `${address.origin}/?token=wrong`);
    await page.browserPage.waitForSelector('[role=alert]');
    await page.browserPage.fill('#token', 'wrong again');
    await page.browserPage.press('#token', 'Enter');
    await page.browserPage.waitForURL('**/sign-in');
    await page.browserPage.fill('#token', address.searchParams.get('token')!);
    await page.browserPage.press('#token', 'Enter');
    await page.waitForDesktop();
    assert.equal(page.browserPage.url(), `${address.origin}/`);
  }));

test('the address can be a link on a page of another site', () =>
  withService(async (address, browser) => {
    const page = await Page.open(browser, `${address.origin.replace('127.0.0.1', 'localhost')}/`);
    await page.browserPage.evaluate((link) => (location.href = link), address.href);
    await page.waitForDesktop();
  }));

// How a WebSocket that is opened from the page, and sends `message`, ends. The end of one that sends more than is read
// can overtake its reason.
const kEnds: [what: string, message: string | number[], codes: number[]][] = [
  ['too long a text', ' '.repeat(5000), [1009, 1006]],
  ['too long a record', new Array<number>(65).fill(0), [1009, 1006]],
  ['no JSON', '{', [1008]],
  ['an unknown message', '{"type":"shutdown"}', [1008]],
  ['an unknown record', [77], [1008]],
  ['half a record', [1, 1, 0], [1008]],
];

test('what makes no sense ends the connection', () =>
  withService(async (address, browser) => {
    const { browserPage } = await Page.open(browser, address.href);
    for (const [what, message, codes] of kEnds) {
      const end = await browserPage.evaluate(
        (message) =>
          new Promise<number>((resolve) => {
            const socket = new WebSocket('/viewer', 'kvremote.1');
            socket.onopen = () =>
              socket.send(typeof message === 'string' ? message : new Uint8Array(message));
            socket.onclose = (event) => resolve(event.code);
          }),
        message,
      );
      assert.ok(codes.includes(end), `${what}: ${end}`);
    }
  }));

test('another page has no access', () =>
  withService(async (address, browser) => {
    const page = await Page.open(browser, address.href);
    await page.waitForDesktop();
    // The same browser, with the cookie, but from another place.
    const other = await page.browserPage.context().newPage();
    await other.goto(`${address.origin.replace('127.0.0.1', 'localhost')}/`);
    const opened = await other.evaluate(
      (url) =>
        new Promise((resolve) => {
          const socket = new WebSocket(url, 'kvremote.1');
          socket.onopen = () => resolve(true);
          socket.onerror = () => resolve(false);
        }),
      `${address.origin.replace('http', 'ws')}/viewer`,
    );
    assert.equal(opened, false);
    await waitFor('the page to be undisturbed', async () => (await page.message()) === '');
  }));
