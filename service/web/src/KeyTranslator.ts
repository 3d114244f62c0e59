// Decides how a key of the local keyboard travels: as the character that it yields here, or as the code of its place.
import { functionKeyCode, placeKeyCode } from './KeyCodes.js';

// What the decision needs of a KeyboardEvent.
export interface KeyPress {
  key: string;
  code: string;
  // AltGr is held, or the key that types further characters on this platform.
  altGr: boolean;
  shift: boolean;
  // An input method or a dead key is at work.
  composing: boolean;
}

export type KeyAction =
  | { kind: 'key'; keyCode: number }
  | { kind: 'character'; character: string; fallback: number; shift: boolean }
  // Text that no key of the service has: it is typed as well as the session's layout can.
  | { kind: 'text'; text: string }
  // The browser makes text of it, which comes later.
  | { kind: 'compose' }
  | { kind: 'none' };

// These locks act on this side: their letters and digits arrive as letters and digits.
const kLocalLocks = ['CapsLock', 'NumLock'];

export function translateKey(press: KeyPress): KeyAction {
  const { key, code } = press;
  if (press.composing || key === 'Dead' || key === 'Process') return { kind: 'compose' };
  if (kLocalLocks.includes(key) || kLocalLocks.includes(code)) return { kind: 'none' };
  const place = placeKeyCode(code);
  if (key.length > 1 || key === '') {
    // Names of keys are plain words; what is longer than a character otherwise is a dead key's accent and the
    // letter that it did not go with.
    if (key !== '' && !/^[A-Z][A-Za-z0-9]+$/.test(key)) return { kind: 'text', text: key };
    const keyCode = functionKeyCode(key) || place;
    return keyCode === 0 ? { kind: 'none' } : { kind: 'key', keyCode };
  }
  if (press.altGr && place !== 0) return { kind: 'key', keyCode: place };
  if (key >= ' ' && key <= '~')
    return { kind: 'character', character: key, fallback: place, shift: press.shift };
  return place === 0 ? { kind: 'text', text: key } : { kind: 'key', keyCode: place };
}
