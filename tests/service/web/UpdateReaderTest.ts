// Updates are taken apart as the service writes them, and refused when they are damaged.
import assert from 'node:assert/strict';
import test from 'node:test';
import { deflateRawSync } from 'node:zlib';
import { inflatePixels } from '../../../service/web/src/inflate.js';
import { readUpdate } from '../../../service/web/src/UpdateReader.js';

// Three rectangles: two raw pixels, one solid, two compressed pixels 0x1234 0x5678.
function update(): Buffer {
  const stream = deflateRawSync(Buffer.from([0x34, 0x12, 0x78, 0x56]));
  const head = Buffer.from([
    ...[1, 1, 3, 0, 7, 0, 0, 0, 1, 0, 1, 0, 4, 0, 0, 0],
    ...[1, 0, 2, 0, 2, 0, 1, 0, 0, 0, 0, 0],
    ...[3, 0, 4, 0, 0, 5, 0, 4, 1, 0, 0xff, 0x7f],
    ...[5, 0, 6, 0, 1, 0, 2, 0, 2, 0, 0, 0],
    ...[0x01, 0x02, 0x03, 0x04],
  ]);
  return Buffer.concat([head, stream]);
}

const read = (bytes: Buffer) => readUpdate(new Uint8Array(bytes).buffer);

test('an update is taken apart', async () => {
  const { number, screen, rectangles, raw, compressed, compressedPixels } = read(update());
  assert.deepEqual([number, screen, compressedPixels], [7, 0x10001, 2]);
  assert.deepEqual(rectangles, [
    { left: 1, top: 2, width: 2, height: 1, kind: 'raw', colour: 0 },
    { left: 3, top: 4, width: 1280, height: 1024, kind: 'solid', colour: 0x7fff },
    { left: 5, top: 6, width: 1, height: 2, kind: 'compressed', colour: 0 },
  ]);
  assert.deepEqual([...raw], [0x0201, 0x0403]);
  assert.deepEqual([...(await inflatePixels(compressed!, compressedPixels))], [0x1234, 0x5678]);
});

const kDamages: [what: string, damage: (bytes: Buffer) => Buffer][] = [
  ['nothing', () => Buffer.alloc(0)],
  ['half a head', (bytes) => bytes.subarray(0, 15)],
  ['another message', (bytes) => (bytes.writeUInt8(2, 0), bytes)],
  ['more rectangles than there are', (bytes) => (bytes.writeUInt16LE(65535, 2), bytes)],
  ['more raw bytes than there are', (bytes) => (bytes.writeUInt32LE(0xffffffff, 12), bytes)],
  ['fewer raw bytes than the rectangles hold', (bytes) => (bytes.writeUInt32LE(2, 12), bytes)],
  ['a kind that there is not', (bytes) => (bytes.writeUInt8(3, 24), bytes)],
  ['no compressed pixels', (bytes) => (bytes.writeUInt8(0, 1), bytes)],
];
for (const [what, damage] of kDamages)
  test(`refused: ${what}`, () => assert.throws(() => read(damage(update()))));

for (const [what, pixels] of [
  ['more', 1],
  ['fewer', 3],
] as const)
  test(`refused: ${what} compressed pixels than the rectangles hold`, async () => {
    const { compressed } = read(update());
    await assert.rejects(inflatePixels(compressed!, pixels));
  });
