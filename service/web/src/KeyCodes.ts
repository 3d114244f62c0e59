// Key codes that the service understands, for the browser's names of keys.
//
// Sources: the key codes are the Windows virtual-key codes (winuser.h, VK_...), and only those that the
// observer has a key for (input/MacVirtualKeys.cpp); the names are those of the W3C's "UI Events KeyboardEvent
// code Values" and "... key Values".

export const Vk = {
  backspace: 0x08,
  tab: 0x09,
  enter: 0x0d,
  escape: 0x1b,
  space: 0x20,
  left: 0x25,
  up: 0x26,
  right: 0x27,
  down: 0x28,
  printScreen: 0x2c,
  delete: 0x2e,
  platform: 0x5b,
  f1: 0x70,
  shift: 0xa0,
  control: 0xa2,
  alt: 0xa4,
  rightAlt: 0xa5,
} as const;

// By place on the keyboard: `KeyboardEvent.code`.
const kPlaces: Record<string, number> = {
  Backquote: 0xc0,
  Minus: 0xbd,
  Equal: 0xbb,
  BracketLeft: 0xdb,
  BracketRight: 0xdd,
  Backslash: 0xdc,
  Semicolon: 0xba,
  Quote: 0xde,
  Comma: 0xbc,
  Period: 0xbe,
  Slash: 0xbf,
  IntlBackslash: 0xe2,
  IntlRo: 0xc1,
  Space: Vk.space,

  ShiftLeft: Vk.shift,
  ShiftRight: 0xa1,
  ControlLeft: Vk.control,
  ControlRight: 0xa3,
  AltLeft: Vk.alt,
  AltRight: Vk.rightAlt,
  MetaLeft: Vk.platform,
  MetaRight: 0x5c,

  NumpadMultiply: 0x6a,
  NumpadAdd: 0x6b,
  NumpadComma: 0x6c,
  NumpadSubtract: 0x6d,
  NumpadDecimal: 0x6e,
  NumpadDivide: 0x6f,
  NumpadEqual: 0x92,
};
for (let i = 0; i < 26; i++) kPlaces[`Key${String.fromCharCode(65 + i)}`] = 65 + i;
for (let i = 0; i < 10; i++) {
  kPlaces[`Digit${i}`] = 0x30 + i;
  kPlaces[`Numpad${i}`] = 0x60 + i;
}

// By what the key does: `KeyboardEvent.key`.
const kFunctions: Record<string, number> = {
  Backspace: Vk.backspace,
  Tab: Vk.tab,
  Clear: 0x0c,
  Enter: Vk.enter,
  Pause: 0x13,
  Escape: Vk.escape,
  PageUp: 0x21,
  PageDown: 0x22,
  End: 0x23,
  Home: 0x24,
  ArrowLeft: Vk.left,
  ArrowUp: Vk.up,
  ArrowRight: Vk.right,
  ArrowDown: Vk.down,
  PrintScreen: Vk.printScreen,
  Insert: 0x2d,
  Delete: Vk.delete,
  Help: 0x2f,
  ContextMenu: 0x5d,
  AltGraph: Vk.rightAlt,
  ScrollLock: 0x91,
  AudioVolumeMute: 0xad,
  AudioVolumeDown: 0xae,
  AudioVolumeUp: 0xaf,

  KanaMode: 0x15,
  Convert: 0x1c,
  NonConvert: 0x1d,
  Alphanumeric: 0xf0,
  Hiragana: 0xf2,
};
for (let i = 0; i < 20; i++) kFunctions[`F${i + 1}`] = Vk.f1 + i;

// 0 when the service has no such key.
export function placeKeyCode(code: string): number {
  return kPlaces[code] ?? 0;
}

export function functionKeyCode(key: string): number {
  return kFunctions[key] ?? 0;
}
