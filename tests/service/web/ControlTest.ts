// Who controls, and what the machine's settings allow.
import assert from 'node:assert/strict';
import test from 'node:test';
import { Desktop, waitFor } from './Desktop.js';
import { Page, startBrowser } from './Page.js';

async function withDesktop(
  act: (desktop: Desktop, open: (address: string) => Promise<Page>) => Promise<void>,
): Promise<void> {
  const desktop = await Desktop.start();
  const browser = await startBrowser();
  try {
    await act(desktop, async (address) => {
      const page = await Page.open(browser, address);
      await page.waitForDesktop();
      return page;
    });
  } finally {
    await browser.close();
    await desktop.end();
  }
}

const press = async (page: Page, key: string) => {
  const { x, y } = await page.place(400, 300);
  await page.browserPage.mouse.click(x, y);
  await page.browserPage.keyboard.press(key);
};

test('control goes from one viewer to another who asked, and only the controller types', () =>
  withDesktop(async (desktop, open) => {
    const terminal = await desktop.startTerminal();
    const address = await desktop.startService();
    const [first, second] = [await open(address), await open(address)];
    await waitFor('the second to watch', async () => (await second.text('control')) === 'Request control');

    await press(second, 'x');
    await press(first, 'a');
    await waitFor('the first’s key', () => terminal.text() === 'a');

    await second.browserPage.click('#control');
    await first.browserPage.getByRole('button', { name: 'Keep control' }).click();
    await waitFor('the refusal', async () => (await second.text('control')) === 'Request control');
    await second.browserPage.click('#control');
    await first.browserPage.getByRole('button', { name: 'Hand over' }).click();
    await waitFor('control', async () => (await second.text('control')) === 'View only');
    await press(first, 'y');
    await press(second, 'b');
    await waitFor('the second’s key', () => terminal.text() === 'ab');

    await second.browserPage.click('#control');
    await waitFor('control to be given up', async () => (await second.text('control')) !== 'View only');
    await press(second, 'z');
    await first.browserPage.click('#control');
    await waitFor('control', async () => (await first.text('control')) === 'View only');
    await press(first, 'c');
    await waitFor('the first’s key', () => terminal.text() === 'abc');
  }));

test('a question goes with the viewer who asked', () =>
  withDesktop(async (desktop, open) => {
    const address = await desktop.startService();
    const [first, second] = [await open(address), await open(address)];
    await second.browserPage.click('#control');
    const question = first.browserPage.getByRole('button', { name: 'Hand over' });
    await question.waitFor();
    await second.browserPage.close();
    await question.waitFor({ state: 'detached' });
  }));

test('a question is answered at the keyboard, which goes back to the desktop', () =>
  withDesktop(async (desktop, open) => {
    const terminal = await desktop.startTerminal();
    const address = await desktop.startService();
    const [first, second] = [await open(address), await open(address)];
    await press(first, 'a');
    await second.browserPage.click('#control');
    await first.browserPage.getByRole('button', { name: 'Keep control' }).waitFor();
    await first.browserPage.keyboard.press('Control+Alt+Home');
    await first.browserPage.keyboard.press('Space');
    await waitFor('the refusal', async () => (await second.text('control')) === 'Request control');
    await first.browserPage.keyboard.press('b');
    await waitFor('the next key', () => terminal.text() === 'ab');
  }));

test('a service for watching offers nothing else', () =>
  withDesktop(async (desktop, open) => {
    const terminal = await desktop.startTerminal();
    const page = await open(await desktop.startService('--view-only'));
    await waitFor('the words', async () => (await page.text('role')) === 'View only');
    for (const id of ['control', 'keys', 'paste', 'lock', 'blank'])
      assert.equal(await page.isVisible(id), false, id);
    await press(page, 'x');
    assert.equal(terminal.text(), '');
  }));

test('lock and blank are offered as far as the settings allow, and work', () =>
  withDesktop(async (desktop, open) => {
    desktop.setPreference('AllowBlankScreen', 'false');
    const page = await open(await desktop.startService());
    await waitFor('the lock', () => page.isVisible('lock'));
    assert.equal(await page.isVisible('blank'), false);

    await page.browserPage.click('#lock');
    await waitFor('the lock to be on', () => page.isPressed('lock'));
    desktop.setPreference('AllowBlankScreen', 'true');
    desktop.setPreference('AllowHIDLock', 'false');
    await waitFor(
      'the settings to be followed',
      async () => (await page.isVisible('blank')) && !(await page.isVisible('lock')),
    );
    await page.browserPage.click('#blank');
    await waitFor('the blank to be on', () => page.isPressed('blank'));
  }));
