// Takes an update apart: which rectangles changed, and where their pixels lie.

export type RectangleKind = 'raw' | 'solid' | 'compressed';

export interface UpdateRectangle {
  left: number;
  top: number;
  width: number;
  height: number;
  kind: RectangleKind;
  // Of kind 'solid': 16 bits, blue in bits 0 to 4, green in 5 to 9, red in 10 to 14.
  colour: number;
}

export interface Update {
  number: number;
  screen: number;
  rectangles: UpdateRectangle[];
  // The pixels of all raw rectangles, one after the other; borrowed from the message.
  raw: Uint16Array;
  // The pixels of all compressed rectangles as one deflate stream; null when there are none.
  compressed: Uint8Array<ArrayBuffer> | null;
  // How many pixels that stream holds.
  compressedPixels: number;
}

const kHeaderBytes = 16;
const kRectangleBytes = 12;
const kKinds: readonly RectangleKind[] = ['raw', 'solid', 'compressed'];

// Throws an Error that says what is wrong when the message is no update.
export function readUpdate(message: ArrayBuffer): Update {
  const view = new DataView(message);
  if (message.byteLength < kHeaderBytes || view.getUint8(0) !== 1) throw new Error('no update');
  const hasCompressed = (view.getUint8(1) & 1) !== 0;
  const count = view.getUint16(2, true);
  const rawBytes = view.getUint32(12, true);
  const rawOffset = kHeaderBytes + count * kRectangleBytes;
  if (rawOffset + rawBytes > message.byteLength) throw new Error('an update is cut off');

  const rectangles: UpdateRectangle[] = [];
  const pixels = { raw: 0, solid: 0, compressed: 0 };
  for (let offset = kHeaderBytes; offset < rawOffset; offset += kRectangleBytes) {
    const kind = kKinds[view.getUint8(offset + 8)];
    if (kind === undefined) throw new Error('a rectangle of an unknown kind');
    const rectangle = {
      left: view.getUint16(offset, true),
      top: view.getUint16(offset + 2, true),
      width: view.getUint16(offset + 4, true),
      height: view.getUint16(offset + 6, true),
      kind,
      colour: view.getUint16(offset + 10, true),
    };
    pixels[kind] += rectangle.width * rectangle.height;
    rectangles.push(rectangle);
  }
  if (pixels.raw * 2 !== rawBytes) throw new Error('raw pixels do not fill their rectangles');
  if (pixels.compressed > 0 && !hasCompressed) throw new Error('compressed pixels are missing');

  return {
    number: view.getUint32(4, true),
    screen: view.getUint32(8, true),
    rectangles,
    raw: new Uint16Array(message, rawOffset, pixels.raw),
    compressed: pixels.compressed > 0 ? new Uint8Array(message, rawOffset + rawBytes) : null,
    compressedPixels: pixels.compressed,
  };
}
