// Draws updates on the canvas. Pixels are converted by a table into an image as large as the screen, whose changed
// parts go to the canvas; without a graphics card, a texture of 16-bit pixels and a shader take many times as long.
import { Part, Screen } from './Messages.js';
import { Update, UpdateRectangle } from './UpdateReader.js';

// From 16-bit pixels to the bytes R, G, B, 255 in memory order.
const kColours = new Uint32Array(32768);
for (let pixel = 0; pixel < kColours.length; pixel++) {
  const widen = (five: number) => (five << 3) | (five >> 2);
  const red = widen((pixel >> 10) & 31);
  const green = widen((pixel >> 5) & 31);
  const blue = widen(pixel & 31);
  kColours[pixel] = 0xff000000 | (blue << 16) | (green << 8) | red;
}

export class Painter {
  private readonly context: OffscreenCanvasRenderingContext2D;
  private screen = -1;
  private image = new ImageData(1, 1);
  private pixels = new Uint32Array(this.image.data.buffer);

  constructor(private readonly canvas: OffscreenCanvas) {
    const context = canvas.getContext('2d', { alpha: false });
    if (context === null) throw new Error('the browser has no canvas to draw on');
    this.context = context;
  }

  // Updates of other screens are void from now on. A screen of the same size keeps its picture until it is drawn over.
  startScreen(screen: Screen): void {
    this.screen = screen.id;
    if (screen.width === this.image.width && screen.height === this.image.height) return;
    this.canvas.width = screen.width;
    this.canvas.height = screen.height;
    this.image = new ImageData(screen.width, screen.height);
    this.pixels = new Uint32Array(this.image.data.buffer);
  }

  // `inflated`: the pixels of the compressed rectangles. An update of another screen is left out. Throws when a
  // rectangle does not lie on the screen; nothing has been drawn then.
  draw(update: Update, inflated: Uint16Array): void {
    if (update.screen !== this.screen) return;
    for (const { left, top, width, height } of update.rectangles)
      if (left + width > this.image.width || top + height > this.image.height)
        throw new Error('a rectangle lies outside the screen');
    let rawOffset = 0;
    let inflatedOffset = 0;
    for (const rectangle of update.rectangles) {
      const size = rectangle.width * rectangle.height;
      if (size === 0) continue;
      if (rectangle.kind === 'solid') {
        this.fill(rectangle);
      } else if (rectangle.kind === 'raw') {
        this.convert(rectangle, update.raw, rawOffset);
        rawOffset += size;
      } else {
        this.convert(rectangle, inflated, inflatedOffset);
        inflatedOffset += size;
      }
      const { left, top, width, height } = rectangle;
      this.context.putImageData(this.image, 0, 0, left, top, width, height);
    }
  }

  // Shows the picture again, as a new one: recorders take no other.
  repeat(): void {
    if (this.screen >= 0) this.context.putImageData(this.image, 0, 0, 0, 0, 1, 1);
  }

  // A PNG of a part of the screen.
  takePicture({ left, top, right, bottom }: Part): Promise<Blob> {
    const picture = new OffscreenCanvas(right - left, bottom - top);
    picture.getContext('2d', { alpha: false })?.drawImage(this.canvas, -left, -top);
    return picture.convertToBlob({ type: 'image/png' });
  }

  private fill({ left, top, width, height, colour }: UpdateRectangle): void {
    const value = kColours[colour & 32767]!;
    const stride = this.image.width;
    for (let y = top; y < top + height; y++)
      this.pixels.fill(value, y * stride + left, y * stride + left + width);
  }

  private convert({ left, top, width, height }: UpdateRectangle, source: Uint16Array, offset: number): void {
    const { pixels } = this;
    const stride = this.image.width;
    let from = offset;
    for (let y = top; y < top + height; y++) {
      let to = y * stride + left;
      for (const end = to + width; to < end; to++) pixels[to] = kColours[source[from++]! & 32767]!;
    }
  }
}
