// Text becomes keys only where the layout has them.
import assert from 'node:assert/strict';
import test from 'node:test';
import { Typist } from '../../../service/web/src/Typist.js';

function typed(layout: 'other' | 'french' | 'german', text: string, heldShifts: number[] = []): number[][] {
  const records: number[][] = [];
  const typist = new Typist((record) => records.push([...record]));
  typist.setLayout(layout);
  typist.type(text, heldShifts);
  return records;
}

test('a plain character is pressed and released as itself', () =>
  assert.deepEqual(typed('french', 'a'), [
    [3, 97, 0, 1, 0],
    [3, 97, 0, 0, 0],
  ]));

test('what lies behind AltGr is typed with it', () =>
  assert.deepEqual(typed('german', '@'), [
    [2, 0xa5, 1],
    [2, 0x51, 1],
    [2, 0x51, 0],
    [2, 0xa5, 0],
  ]));

test('a dead key comes before its letter', () =>
  assert.deepEqual(typed('french', 'ë'), [
    [2, 0xa0, 1],
    [2, 0xdb, 1],
    [2, 0xdb, 0],
    [2, 0xa0, 0],
    [3, 101, 0, 1, 0],
    [3, 101, 0, 0, 0],
  ]));

test('a held Shift is up while a key is pressed by its code', () =>
  assert.deepEqual(typed('german', 'ö', [0xa1]), [
    [2, 0xa1, 0],
    [2, 0xba, 1],
    [2, 0xba, 0],
    [2, 0xa1, 1],
  ]));

test('what cannot be typed is left out and named once', () => {
  assert.deepEqual(typed('other', 'é☃\u0007'), []);
  const typist = new Typist(() => undefined);
  assert.deepEqual(typist.missingFrom('aéb\té☃\n'), ['é', '☃']);
  typist.setLayout('french');
  assert.deepEqual(typist.missingFrom('aéb\té☃\n'), ['☃']);
});
