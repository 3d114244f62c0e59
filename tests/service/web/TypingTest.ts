// What is typed and pasted at the page arrives at an X client, whatever the layout of the session.
import assert from 'node:assert/strict';
import test from 'node:test';
import { Desktop, waitFor } from './Desktop.js';
import { Page, startBrowser, withPage } from './Page.js';

const kAscii = Array.from({ length: 95 }, (_, i) => String.fromCharCode(32 + i)).join('');

// `composed` is what an input method makes, `pasted` comes besides ASCII, `keys` are what a person with that keyboard
// presses.
const kLayouts: {
  layout: string;
  composed: string;
  pasted: string;
  missing: string;
  keys: { key: string; code: string; altGr?: boolean; arrives: string }[];
}[] = [
  { layout: 'us', composed: 'ok', pasted: '', missing: 'é', keys: [] },
  {
    layout: 'fr',
    composed: 'ê',
    pasted: 'Déjà vu : ça coûte 3 €, naïf',
    missing: 'ß',
    keys: [
      { key: 'é', code: 'Digit2', arrives: 'é' },
      { key: 'a', code: 'KeyQ', arrives: 'a' },
      { key: '@', code: 'Digit0', altGr: true, arrives: '@' },
    ],
  },
  {
    layout: 'de',
    // Four records a character: more than the service takes at once.
    composed: 'ô' + 'Ä'.repeat(1000),
    pasted: 'Grüße, Änderung für 3 € & á',
    missing: 'ñ',
    keys: [
      { key: 'ö', code: 'Semicolon', arrives: 'ö' },
      { key: 'z', code: 'KeyY', arrives: 'z' },
      { key: '@', code: 'KeyQ', altGr: true, arrives: '@' },
      // Of a keyboard where it is no AltGr character.
      { key: '@', code: 'Digit2', arrives: '@' },
    ],
  },
];

for (const { layout, composed, pasted, missing, keys } of kLayouts)
  test(`typed and pasted text arrives in layout ${layout}`, async () => {
    const desktop = await Desktop.start(layout);
    const browser = await startBrowser();
    try {
      const terminal = await desktop.startTerminal();
      const page = await Page.open(browser, await desktop.startService());
      await page.waitForDesktop();
      await page.browserPage.mouse.click(...(await middle(page)));
      let expected = '';
      const arrives = async (text: string) => {
        expected += text;
        await waitFor(`"${text}"`, () => (assert.equal(terminal.text(), expected), true));
      };

      await page.browserPage.keyboard.type(kAscii);
      await arrives(kAscii);
      await page.browserPage.keyboard.press('Enter');
      await arrives('\r');
      await page.browserPage.keyboard.insertText(composed);
      await page.browserPage.keyboard.press('Control+a');
      await arrives(`${composed}\u0001`);
      for (const { key, code, altGr = false, arrives: text } of keys) {
        await page.browserPage.evaluate(
          ({ key, code, altGr }) => {
            const fire = (type: string, key: string, code: string) =>
              document
                .getElementById('field')!
                .dispatchEvent(
                  new KeyboardEvent(type, { key, code, modifierAltGraph: altGr, cancelable: true }),
                );
            if (altGr) fire('keydown', 'AltGraph', 'AltRight');
            fire('keydown', key, code);
            fire('keyup', key, code);
            if (altGr) fire('keyup', 'AltGraph', 'AltRight');
          },
          { key, code, altGr },
        );
        await arrives(text);
      }

      await page.browserPage.click('#paste');
      const text = `${kAscii}${pasted}\n`;
      await page.browserPage.fill('#paste-text', text + missing);
      assert.match(await page.text('paste-report'), new RegExp(`: ${missing}$`));
      await page.browserPage.fill('#paste-text', text);
      assert.equal(await page.text('paste-report'), '');
      await page.browserPage.click('#paste-start');
      await arrives(text.replace('\n', '\r'));
    } finally {
      await browser.close();
      await desktop.end();
    }
  });

test('the browser gets neither the press nor the release of a modifier', () =>
  withPage(async (page) => {
    const kept = await page.browserPage.evaluate(() => {
      const fire = (type: string, altKey: boolean) =>
        document
          .getElementById('field')!
          .dispatchEvent(new KeyboardEvent(type, { key: 'Alt', code: 'AltLeft', altKey, cancelable: true }));
      return [fire('keydown', true), fire('keyup', false)];
    });
    assert.deepEqual(kept, [false, false]);
  }));

async function middle(page: Page): Promise<[number, number]> {
  const { x, y } = await page.place(400, 300);
  return [x, y];
}
