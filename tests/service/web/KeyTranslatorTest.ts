// How keys of the local keyboard travel.
import assert from 'node:assert/strict';
import test from 'node:test';
import { KeyAction, KeyPress, translateKey } from '../../../service/web/src/KeyTranslator.js';

const kPlain = { altGr: false, shift: false, composing: false };
const key = (keyCode: number): KeyAction => ({ kind: 'key', keyCode });
const character = (text: string, fallback: number, shift = false): KeyAction => ({
  kind: 'character',
  character: text,
  fallback,
  shift,
});
const kNone: KeyAction = { kind: 'none' };
const kCompose: KeyAction = { kind: 'compose' };

const kRows: [
  what: string,
  press: Pick<KeyPress, 'key' | 'code'> & Partial<KeyPress>,
  expected: KeyAction,
][] = [
  ['a letter', { key: 'a', code: 'KeyA' }, character('a', 0x41)],
  ['a letter with Shift', { key: 'A', code: 'KeyA', shift: true }, character('A', 0x41, true)],
  ['a letter with Caps Lock', { key: 'A', code: 'KeyA' }, character('A', 0x41)],
  ['a letter of another layout', { key: 'z', code: 'KeyY' }, character('z', 0x59)],
  ['a digit of the keypad', { key: '7', code: 'Numpad7' }, character('7', 0x67)],
  ['the keypad without Num Lock', { key: 'Home', code: 'Numpad7' }, key(0x24)],
  ['the keypad’s Enter', { key: 'Enter', code: 'NumpadEnter' }, key(0x0d)],
  ['a letter with an accent', { key: 'é', code: 'Digit2' }, key(0x32)],
  ['an AltGr character', { key: '@', code: 'KeyQ', altGr: true }, key(0x51)],
  ['AltGr itself', { key: 'AltGraph', code: 'AltRight', altGr: true }, key(0xa5)],
  ['AltGr in an unusual place', { key: 'AltGraph', code: '', altGr: true }, key(0xa5)],
  ['the right Shift', { key: 'Shift', code: 'ShiftRight', shift: true }, key(0xa1)],
  ['the platform key', { key: 'Meta', code: 'MetaLeft' }, key(0x5b)],
  ['the last function key', { key: 'F20', code: 'F20' }, key(0x83)],
  ['a function key that nobody has', { key: 'F21', code: 'F21' }, kNone],
  ['a key between Shift and the letters', { key: '<', code: 'IntlBackslash' }, character('<', 0xe2)],
  ['Caps Lock', { key: 'CapsLock', code: 'CapsLock' }, kNone],
  ['Num Lock', { key: 'NumLock', code: 'NumLock' }, kNone],
  ['a dead key', { key: 'Dead', code: 'Equal' }, kCompose],
  ['a key that an input method takes', { key: 'Process', code: 'KeyA' }, kCompose],
  ['a key while composing', { key: 'a', code: 'KeyA', composing: true }, kCompose],
  ['an accent and a letter apart', { key: '´x', code: 'KeyX' }, { kind: 'text', text: '´x' }],
  ['an unknown key with a letter', { key: 'é', code: '' }, { kind: 'text', text: 'é' }],
  ['an unknown key', { key: 'Unidentified', code: '' }, kNone],
];

for (const [what, press, expected] of kRows)
  test(what, () => assert.deepEqual(translateKey({ ...kPlain, ...press }), expected));
