// A user who has to be asked answers at the machine, in kvnotify's window, and the page waits for that.
import assert from 'node:assert/strict';
import test from 'node:test';
import { Browser } from 'playwright-core';
import { Desktop, waitFor } from './Desktop.js';
import { assertSame, Page, startBrowser } from './Page.js';

interface Situation {
  page: Page;
  desktop: Desktop;
  browser: Browser;
  terminal: { text(): string };
}

// `words`: further ones for kvnotify.
async function withQuestion(words: string[], act: (situation: Situation) => Promise<void>): Promise<void> {
  const desktop = await Desktop.start();
  const browser = await startBrowser();
  try {
    desktop.install('kvnotify', ...words);
    const terminal = await desktop.startTerminal();
    desktop.setPreference('UserControlFilter', 'true');
    desktop.setPreference('NotifyObservation', 'false');
    const page = await Page.open(browser, await desktop.startService());
    await waitFor('the page to wait', async () => (await page.message()) === 'Waiting for permission');
    assert.match(await page.text('overlay-text'), /has been asked/);
    await act({ page, desktop, browser, terminal });
  } finally {
    await browser.close();
    await desktop.end();
  }
}

// The windows in which the user is asked.
function questions(desktop: Desktop): string[] {
  const found = desktop.run('sh', '-c', 'xdotool search --onlyvisible --class Kvnotify || true');
  return found.toString().split('\n').filter(Boolean);
}

async function waitForQuestion(desktop: Desktop): Promise<void> {
  await waitFor('the question', () => questions(desktop).length === 1);
}

async function waitForNoQuestion(desktop: Desktop): Promise<void> {
  await waitFor('the question to go', () => questions(desktop).length === 0);
}

// Clicks on "Allow" until the question goes, for it is deaf at first.
async function allow(desktop: Desktop): Promise<void> {
  const click =
    'eval $(xdotool getwindowgeometry --shell $0) && ' +
    'xdotool mousemove --window $0 $((WIDTH - 77)) $((HEIGHT - 46)) click 1 || true';
  await waitFor('the answer', () => {
    for (const window of questions(desktop)) desktop.run('sh', '-c', click, window);
    return questions(desktop).length === 0;
  });
}

// Opens one more viewer's connection from the page; gives how many updates have come there so far.
async function countUpdates(page: Page): Promise<() => Promise<number>> {
  await page.browserPage.evaluate(
    () =>
      new Promise((resolve) => {
        const socket = new WebSocket('/viewer', 'kvremote.1');
        Object.assign(window, { updates: 0 });
        socket.onmessage = ({ data }) => {
          if (typeof data !== 'string') (window as unknown as { updates: number }).updates++;
          resolve(null);
        };
      }),
  );
  return () => page.browserPage.evaluate(() => (window as unknown as { updates: number }).updates);
}

test('until the user has allowed it nothing leaves, and then the picture comes', () =>
  withQuestion([], async ({ page, desktop, terminal }) => {
    const updates = await countUpdates(page);
    await waitForQuestion(desktop);
    await page.browserPage.keyboard.press('x');
    await page.browserPage.mouse.click(640, 400);
    assert.throws(() => desktop.observer(), /no observer runs/);
    assert.equal(await updates(), 0);

    await allow(desktop);
    await page.waitForDesktop();
    await waitFor('updates', async () => (await updates()) > 0);
    await page.showActualSize();
    await waitFor('the picture', async () => (assertSame(await page.picture(), desktop.picture()), true));
    const { x, y } = await page.place(10, 10);
    await page.browserPage.mouse.click(x, y);
    await page.browserPage.keyboard.press('a');
    await waitFor('the key', () => terminal.text() === 'a');
  }));

const kRefusals: [what: string, words: string[], key: string][] = [
  ['a no', [], 'Escape'],
  ['no answer', ['--seconds', '1'], 'Shift_L'],
];

for (const [what, words, key] of kRefusals)
  test(`${what} is explained, and there is a way back`, () =>
    withQuestion(words, async ({ page, desktop }) => {
      await waitFor('the end of the question', async () => {
        desktop.run('xdotool', 'key', key);
        return (await page.message()) === 'Not allowed';
      });
      const text = await page.text('overlay-text');
      assert.match(text, /has not allowed it/);
      assert.match(text, /Speak with the user, then try again/);
      assert.deepEqual(questions(desktop), []);
      assert.throws(() => desktop.observer(), /no observer runs/);

      const retry = page.browserPage.getByRole('button', { name: 'Try again' });
      await waitFor('the time left', async () => {
        await retry.click();
        return (await page.text('overlay-text')) !== text;
      });
      assert.equal(await page.message(), 'Not allowed');
      assert.deepEqual(questions(desktop), [], 'who has refused is left in peace');
      desktop.setPreference('UserControlFilter', 'false');
      await retry.click();
      await page.waitForDesktop();
    }));

test('a question goes with the page that asks it, and with the service', () =>
  withQuestion([], async ({ page, desktop, browser }) => {
    await waitForQuestion(desktop);
    await page.browserPage.close();
    await waitForNoQuestion(desktop);
    await desktop.killService();
    await Page.open(browser, await desktop.startService());
    await waitForQuestion(desktop);
    await desktop.killService();
    await waitForNoQuestion(desktop);
  }));
