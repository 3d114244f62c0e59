// The page in a browser, as a person sees and uses it.
import assert from 'node:assert/strict';
import { Browser, BrowserContextOptions, chromium, Page as BrowserPage } from 'playwright-core';
import { Desktop, Picture, pixel } from './Desktop.js';

// Holds the bar and a desktop of 800 x 600, pixel for pixel.
const kWindow = { width: 1280, height: 700 };

export async function startBrowser(): Promise<Browser> {
  return chromium.launch({ executablePath: process.env.CHROMIUM! });
}

export class Page {
  private constructor(readonly browserPage: BrowserPage) {}

  // Opens the address in a browser that knows nothing of others, and shows one pixel for one.
  static async open(browser: Browser, address: string, options: BrowserContextOptions = {}): Promise<Page> {
    const context = await browser.newContext({ viewport: kWindow, ...options });
    const page = new Page(await context.newPage());
    page.browserPage.setDefaultTimeout(30_000);
    await page.browserPage.goto(address);
    return page;
  }

  // Returns when the desktop is seen.
  async waitForDesktop(): Promise<void> {
    await this.browserPage.locator('#overlay:not(.shown)').waitFor({ state: 'attached' });
    // Two frames later it has been painted: before, the browser takes no input.
    await this.browserPage.evaluate(
      () => new Promise((resolve) => requestAnimationFrame(() => requestAnimationFrame(resolve))),
    );
  }

  // Shows one pixel for one.
  async showActualSize(): Promise<void> {
    if (await this.browserPage.locator('#actual').isVisible()) await this.browserPage.click('#actual');
  }

  // Where a pixel of the desktop is in the window.
  async place(x: number, y: number): Promise<{ x: number; y: number }> {
    const stage = (await this.browserPage.locator('#stage').boundingBox())!;
    const scale = stage.width / 800;
    return { x: stage.x + (x + 0.5) * scale, y: stage.y + (y + 0.5) * scale };
  }

  // What a person sees of the desktop, at one pixel for one.
  async picture(): Promise<Picture> {
    const clip = (await this.browserPage.locator('#stage').boundingBox())!;
    const png = await this.browserPage.screenshot({ clip, type: 'png', animations: 'allow' });
    return this.decode(png);
  }

  async decode(png: Buffer): Promise<Picture> {
    const { width, height, bytes } = await this.browserPage.evaluate(async (base64) => {
      const data = Uint8Array.from(atob(base64), (character) => character.charCodeAt(0));
      const image = await createImageBitmap(new Blob([data]));
      const canvas = new OffscreenCanvas(image.width, image.height).getContext('2d')!;
      canvas.drawImage(image, 0, 0);
      const rgba = canvas.getImageData(0, 0, image.width, image.height).data;
      let text = '';
      for (let i = 0; i < rgba.length; i += 8192) text += String.fromCharCode(...rgba.subarray(i, i + 8192));
      return { width: image.width, height: image.height, bytes: btoa(text) };
    }, png.toString('base64'));
    const rgba = Buffer.from(bytes, 'base64');
    const pixels = new Uint16Array(width * height);
    for (let i = 0; i < pixels.length; i++)
      pixels[i] = pixel(rgba[i * 4]!, rgba[i * 4 + 1]!, rgba[i * 4 + 2]!);
    return { width, height, pixels };
  }

  async text(id: string): Promise<string> {
    return (await this.browserPage.locator(`#${id}`).textContent()) ?? '';
  }

  async isPressed(id: string): Promise<boolean> {
    return (await this.browserPage.getAttribute(`#${id}`, 'aria-pressed')) === 'true';
  }

  async isVisible(id: string): Promise<boolean> {
    return this.browserPage.locator(`#${id}`).isVisible();
  }

  // The title of the message over the desktop; empty when there is none.
  async message(): Promise<string> {
    const shown = await this.browserPage.locator('#overlay.shown').count();
    return shown === 0 ? '' : this.text('overlay-title');
  }
}

export function assertSame(shown: Picture, expected: Picture): void {
  assert.deepEqual([shown.width, shown.height], [expected.width, expected.height]);
  for (let i = 0; i < expected.pixels.length; i++)
    if (shown.pixels[i] !== expected.pixels[i])
      assert.fail(
        `pixel ${i % expected.width}, ${Math.floor(i / expected.width)} is ${shown.pixels[i]!.toString(16)}, ` +
          `not ${expected.pixels[i]!.toString(16)}`,
      );
}

// Runs `act` with a page that shows a desktop, one pixel for one. `prepare` puts programs on the desktop first.
export async function withPage(
  act: (page: Page, desktop: Desktop, address: string) => Promise<void>,
  prepare: (desktop: Desktop) => void = () => undefined,
): Promise<void> {
  const desktop = await Desktop.start();
  const browser = await startBrowser();
  try {
    prepare(desktop);
    const address = await desktop.startService();
    const page = await Page.open(browser, address);
    await page.waitForDesktop();
    await page.showActualSize();
    await act(page, desktop, address);
  } finally {
    await browser.close();
    await desktop.end();
  }
}
