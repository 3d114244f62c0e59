// Inflates with the browser's own code.

// `stream`: deflate without header. Throws when it is damaged, or does not hold just that many pixels.
export async function inflatePixels(stream: Uint8Array<ArrayBuffer>, count: number): Promise<Uint16Array> {
  const bytes = new Uint8Array(count * 2);
  const reader = new Blob([stream]).stream().pipeThrough(new DecompressionStream('deflate-raw')).getReader();
  let filled = 0;
  for (;;) {
    const { done, value } = await reader.read();
    if (done) break;
    if (filled + value.length > bytes.length) {
      await reader.cancel();
      throw new Error('more compressed pixels than their rectangles hold');
    }
    bytes.set(value, filled);
    filled += value.length;
  }
  if (filled !== bytes.length) throw new Error('compressed pixels do not fill their rectangles');
  return new Uint16Array(bytes.buffer);
}
