// Mouse and fingers on the page are the pointer of an X client.
import assert from 'node:assert/strict';
import test from 'node:test';
import { Desktop, waitFor } from './Desktop.js';
import { Page, startBrowser } from './Page.js';

interface PointerEvent {
  what: string;
  x: number;
  y: number;
  button: number;
}

// The events that xev has written: "ButtonPress", "ButtonRelease" and "MotionNotify", at places of the screen.
function events(output: string): PointerEvent[] {
  const pattern =
    /(ButtonPress|ButtonRelease|MotionNotify) event,[^]*?root:\((\d+),(\d+)\),\n\s+state 0x\w+, (?:button (\d+))?/g;
  return [...output.matchAll(pattern)].map(([, what, x, y, button]) => ({
    what: what!,
    x: Number(x),
    y: Number(y),
    button: Number(button ?? 0),
  }));
}

async function withWitness(
  act: (page: Page, buttons: () => string[], desktop: Desktop, seen: () => PointerEvent[]) => Promise<void>,
  options = {},
): Promise<void> {
  const desktop = await Desktop.start();
  const browser = await startBrowser();
  try {
    const witness = desktop.start(
      'stdbuf',
      '-oL',
      'xev',
      '-event',
      'button',
      '-event',
      'mouse',
      '-geometry',
      '700x500+50+50',
    );
    await waitFor('xev', () => witness.output !== '');
    const page = await Page.open(browser, await desktop.startService(), options);
    await page.waitForDesktop();
    const seen = () => events(witness.output);
    const buttons = () =>
      seen()
        .filter(({ what }) => what !== 'MotionNotify')
        .map(({ what, x, y, button }) => `${what} ${button} at ${x} ${y}`);
    await act(page, buttons, desktop, seen);
  } finally {
    await browser.close();
    await desktop.end();
  }
}

test('the mouse clicks with both buttons, and drags beyond the edge', () =>
  withWitness(async (page, buttons, _desktop, seen) => {
    await page.showActualSize();
    const { mouse } = page.browserPage;
    const click = await page.place(123, 234);
    await mouse.click(click.x, click.y);
    await mouse.click(click.x, click.y, { button: 'right' });
    const from = await page.place(300, 300);
    await mouse.move(from.x, from.y);
    await mouse.down();
    for (const step of [320, 350, 400]) {
      const place = await page.place(step, 310);
      await mouse.move(place.x, place.y);
    }
    const beyond = await page.place(400, 640);
    await mouse.move(beyond.x, beyond.y);
    await mouse.up();
    await waitFor('all buttons', () => buttons().length >= 6);
    assert.deepEqual(buttons(), [
      'ButtonPress 1 at 123 234',
      'ButtonRelease 1 at 123 234',
      'ButtonPress 3 at 123 234',
      'ButtonRelease 3 at 123 234',
      'ButtonPress 1 at 300 300',
      'ButtonRelease 1 at 400 599',
    ]);
    assert.ok(seen().some(({ what, x, y }) => what === 'MotionNotify' && x === 400 && y === 310));
  }));

const kLosses: [what: string, lose: () => void][] = [
  ['the window loses the focus', () => window.dispatchEvent(new Event('blur'))],
  [
    'the browser takes the pen away',
    () =>
      document
        .getElementById('stage')!
        .dispatchEvent(new PointerEvent('pointercancel', { pointerType: 'pen' })),
  ],
];

for (const [what, lose] of kLosses)
  test(`a button that is held comes up when ${what}`, () =>
    withWitness(async (page, buttons) => {
      await page.showActualSize();
      const place = await page.place(200, 200);
      await page.browserPage.mouse.move(place.x, place.y);
      await page.browserPage.mouse.down();
      await waitFor('the button', () => buttons().length === 1);
      await page.browserPage.evaluate(lose);
      await waitFor('its release', () => buttons().length === 2);
      assert.equal(buttons()[1], 'ButtonRelease 1 at 200 200');
    }));

test('a finger taps, presses long and drags; two fingers zoom', () =>
  withWitness(
    async (page, buttons) => {
      const devTools = await page.browserPage.context().newCDPSession(page.browserPage);
      const touch = (
        type: 'touchStart' | 'touchMove' | 'touchEnd',
        ...touchPoints: { x: number; y: number; id?: number }[]
      ) => devTools.send('Input.dispatchTouchEvent', { type, touchPoints });

      // The page's time stands still, for a slow tap is a long press.
      await page.browserPage.clock.install();
      await page.browserPage.clock.pauseAt(Date.now() + 60_000);
      const tap = await page.place(120, 130);
      await touch('touchStart', tap);
      await touch('touchEnd');
      await waitFor('the tap', () => buttons().length === 2);

      const press = await page.place(220, 230);
      await touch('touchStart', press);
      await page.browserPage.clock.runFor(1000);
      await waitFor('the long press', () => buttons().length === 4);
      await touch('touchEnd');

      const [from, over, to] = [
        await page.place(300, 300),
        await page.place(400, 300),
        await page.place(500, 400),
      ];
      await touch('touchStart', from);
      await touch('touchMove', over);
      await touch('touchMove', to);
      await touch('touchEnd');
      await waitFor('the drag', () => buttons().length === 6);

      const pressed = buttons().map((text) => text.replace(/ at.*/, ''));
      assert.deepEqual(pressed, [
        ...[
          'ButtonPress 1',
          'ButtonRelease 1',
          'ButtonPress 3',
          'ButtonRelease 3',
          'ButtonPress 1',
          'ButtonRelease 1',
        ],
      ]);
      assert.deepEqual(buttons().map(near), [true, true, true, true, true, true]);

      const before = await page.text('zoom');
      await touch('touchStart', { ...from, id: 0 }, { ...over, id: 1 });
      await touch('touchMove', { x: from.x - 60, y: from.y, id: 0 }, { x: over.x + 60, y: over.y, id: 1 });
      await touch('touchEnd');
      assert.ok(parseInt(await page.text('zoom')) > parseInt(before), 'larger than before');
      assert.equal(buttons().length, 6);
    },
    { hasTouch: true, viewport: { width: 800, height: 700 } },
  ));

// Fingers are as exact as the window's scale allows.
const kPlaces = [
  [120, 130],
  [120, 130],
  [220, 230],
  [220, 230],
  [300, 300],
  [500, 400],
];
function near(text: string, index: number): boolean {
  const [x, y] = text
    .match(/at (\d+) (\d+)/)!
    .slice(1)
    .map(Number);
  return Math.abs(x! - kPlaces[index]![0]!) <= 1 && Math.abs(y! - kPlaces[index]![1]!) <= 1;
}
