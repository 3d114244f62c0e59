// The binary records that the page sends.

export const PointerFlag = {
  move: 1,
  leftPressed: 2,
  leftReleased: 4,
  rightPressed: 8,
  rightReleased: 16,
} as const;

// x and y in pixels of the screen, 0 to 65535.
export function pointerRecord(flags: number, x: number, y: number): Uint8Array {
  return new Uint8Array([1, flags, x & 255, x >> 8, y & 255, y >> 8]);
}

export function keyRecord(keyCode: number, pressed: boolean): Uint8Array {
  return new Uint8Array([2, keyCode, pressed ? 1 : 0]);
}

// `fallback`: the key code when the session's layout lacks the character, 0 for none.
export function characterRecord(
  character: string,
  fallback: number,
  pressed: boolean,
  shift: boolean,
): Uint8Array {
  return new Uint8Array([3, character.charCodeAt(0), fallback, pressed ? 1 : 0, shift ? 1 : 0]);
}

export function drawnRecord(update: number): Uint8Array {
  const record = new Uint8Array(5);
  record[0] = 4;
  new DataView(record.buffer).setUint32(1, update, true);
  return record;
}

// All keys and buttons that the page holds are let go.
export function releaseRecord(): Uint8Array {
  return new Uint8Array([5]);
}
