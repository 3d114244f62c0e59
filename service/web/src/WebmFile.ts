// What a browser's recorder cannot know when it writes the beginning of a file: how long the recording is. Without that
// players show no length and do not seek. A file is a tree of elements: each has an id, a size, and its content
// (RFC 8794).

const kHeadBytes = 4096;
const kSegment = 0x18538067;
const kInfo = 0x1549a966;
const kTimestampScale = 0x2ad7b1;
const kDuration = 0x4489;
const kMillisecond = 1_000_000; // in nanoseconds: what a timestamp counts unless the file says otherwise

interface Element {
  id: number;
  begin: number;
  content: number;
  end: number;
}

// Bytes of the number at `at`, by the zeros that it begins with.
function widthAt(view: DataView, at: number): number {
  const width = Math.clz32(view.getUint8(at)) - 23;
  if (width > 8) throw new RangeError('no number of this format');
  return width;
}

function numberAt(view: DataView, at: number, bytes: number): number {
  let value = 0;
  for (let i = 0; i < bytes; i++) value = value * 256 + view.getUint8(at + i);
  return value;
}

function elementAt(view: DataView, begin: number): Element {
  const sizeAt = begin + widthAt(view, begin);
  const width = widthAt(view, sizeAt);
  const content = sizeAt + width;
  // Without the bit that says the width: together with it, eight bytes are more than a number holds.
  const first = view.getUint8(sizeAt) - 2 ** (8 - width);
  const size = first * 256 ** (width - 1) + numberAt(view, sizeAt + 1, width - 1);
  return { id: numberAt(view, begin, sizeAt - begin), begin, content, end: content + size };
}

// The elements from `begin` on, up to `end`.
function* elementsFrom(view: DataView, begin: number, end: number): Generator<Element> {
  for (let at = begin; at < end; ) {
    const element = elementAt(view, at);
    yield element;
    at = element.end;
  }
}

function find(view: DataView, begin: number, id: number): Element {
  for (const element of elementsFrom(view, begin, view.byteLength)) if (element.id === id) return element;
  throw new RangeError('no such element');
}

// The same recording with its length in milliseconds. What is no such file as browsers write stays as it is.
export async function withDuration(recording: Blob, milliseconds: number): Promise<Blob> {
  const view = new DataView(await recording.slice(0, kHeadBytes).arrayBuffer());
  try {
    const info = find(view, find(view, 0, kSegment).content, kInfo);
    const kept = [...elementsFrom(view, info.content, info.end)].filter(({ id }) => id !== kDuration);
    const scale = kept.find(({ id }) => id === kTimestampScale);
    const unit = scale ? numberAt(view, scale.content, scale.end - scale.content) : kMillisecond;
    const parts = kept.map(({ begin, end }) => new Uint8Array(view.buffer, begin, end - begin));

    const duration = new DataView(new ArrayBuffer(11));
    duration.setUint16(0, kDuration);
    duration.setUint8(2, 0x88);
    duration.setFloat64(3, (milliseconds * kMillisecond) / unit);
    const head = new DataView(new ArrayBuffer(8));
    head.setUint32(0, kInfo);
    // A size of four bytes.
    head.setUint32(4, 0x10000000 + 11 + parts.reduce((sum, part) => sum + part.length, 0));
    const content = [head, ...parts, duration];
    return new Blob([recording.slice(0, info.begin), ...content, recording.slice(info.end)], {
      type: recording.type,
    });
  } catch (error) {
    if (error instanceof RangeError) return recording;
    throw error;
  }
}
