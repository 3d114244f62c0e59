// Characters that a layout of the session has on a key, but not as a 7-bit character with or without Shift:
// letters with accents, characters behind AltGr and dead keys.
//
// Source: xkeyboard-config's symbols/fr and symbols/de, their default variants.
import { Vk } from './KeyCodes.js';
import { LayoutName } from './Messages.js';

// A key to press and release, by its code or by the character that it yields.
export type Stroke = { character: string } | { keyCode: number; shift?: boolean; altGr?: boolean };

const kSpace: Stroke = { keyCode: Vk.space };

function letters(characters: string, dead: Stroke, bases: string): [string, Stroke[]][] {
  return Array.from(characters, (character, i) => [character, [dead, { character: bases[i]! }]]);
}

const kFrenchCircumflex: Stroke = { keyCode: 0xdb };
const kFrenchDiaeresis: Stroke = { keyCode: 0xdb, shift: true };
const kFrench = new Map<string, Stroke[]>([
  ['é', [{ keyCode: 0x32 }]],
  ['è', [{ keyCode: 0x37 }]],
  ['ç', [{ keyCode: 0x39 }]],
  ['à', [{ keyCode: 0x30 }]],
  ['ù', [{ keyCode: 0xde }]],
  ['²', [{ keyCode: 0xc0 }]],
  ['°', [{ keyCode: 0xbd, shift: true }]],
  ['£', [{ keyCode: 0xdd, shift: true }]],
  ['µ', [{ keyCode: 0xdc, shift: true }]],
  ['§', [{ keyCode: 0xbf, shift: true }]],
  ['€', [{ keyCode: 0x45, altGr: true }]],
  ['~', [{ keyCode: 0x32, altGr: true }]],
  ['#', [{ keyCode: 0x33, altGr: true }]],
  ['{', [{ keyCode: 0x34, altGr: true }]],
  ['[', [{ keyCode: 0x35, altGr: true }]],
  ['|', [{ keyCode: 0x36, altGr: true }]],
  ['`', [{ keyCode: 0x37, altGr: true }]],
  ['\\', [{ keyCode: 0x38, altGr: true }]],
  ['^', [{ keyCode: 0x39, altGr: true }]],
  ['@', [{ keyCode: 0x30, altGr: true }]],
  [']', [{ keyCode: 0xbd, altGr: true }]],
  ['}', [{ keyCode: 0xbb, altGr: true }]],
  ...letters('âêîôûÂÊÎÔÛ', kFrenchCircumflex, 'aeiouAEIOU'),
  ...letters('äëïöüÿÄËÏÖÜ', kFrenchDiaeresis, 'aeiouyAEIOU'),
]);

const kGermanCircumflex: Stroke = { keyCode: 0xc0 };
const kGermanAcute: Stroke = { keyCode: 0xbb };
const kGermanGrave: Stroke = { keyCode: 0xbb, shift: true };
const kGerman = new Map<string, Stroke[]>([
  ['ä', [{ keyCode: 0xde }]],
  ['ö', [{ keyCode: 0xba }]],
  ['ü', [{ keyCode: 0xdb }]],
  ['Ä', [{ keyCode: 0xde, shift: true }]],
  ['Ö', [{ keyCode: 0xba, shift: true }]],
  ['Ü', [{ keyCode: 0xdb, shift: true }]],
  ['ß', [{ keyCode: 0xbd }]],
  // With Shift held the observer would take the keypad's, which terminals keep for larger letters.
  ['+', [{ keyCode: 0xdd }]],
  ['°', [{ keyCode: 0xc0, shift: true }]],
  ['§', [{ keyCode: 0x33, shift: true }]],
  ['€', [{ keyCode: 0x45, altGr: true }]],
  ['µ', [{ keyCode: 0x4d, altGr: true }]],
  ['²', [{ keyCode: 0x32, altGr: true }]],
  ['³', [{ keyCode: 0x33, altGr: true }]],
  ['@', [{ keyCode: 0x51, altGr: true }]],
  ['{', [{ keyCode: 0x37, altGr: true }]],
  ['[', [{ keyCode: 0x38, altGr: true }]],
  [']', [{ keyCode: 0x39, altGr: true }]],
  ['}', [{ keyCode: 0x30, altGr: true }]],
  ['\\', [{ keyCode: 0xbd, altGr: true }]],
  ['|', [{ keyCode: 0xe2, altGr: true }]],
  ['~', [{ keyCode: 0xdd, altGr: true }]],
  ['^', [kGermanCircumflex, kSpace]],
  ['`', [kGermanGrave, kSpace]],
  ['´', [kGermanAcute, kSpace]],
  ...letters('âêîôûÂÊÎÔÛ', kGermanCircumflex, 'aeiouAEIOU'),
  ...letters('áéíóúýÁÉÍÓÚÝ', kGermanAcute, 'aeiouyAEIOUY'),
  ...letters('àèìòùÀÈÌÒÙ', kGermanGrave, 'aeiouAEIOU'),
]);

const kLayouts: Record<LayoutName, ReadonlyMap<string, Stroke[]>> = {
  other: new Map(),
  french: kFrench,
  german: kGerman,
  japanese: new Map(),
};

const kControls: Record<string, number> = { '\n': Vk.enter, '\t': Vk.tab };

// What the layout has behind AltGr, dead keys or on keys of its own; null when it is reached as a plain
// character, or not at all.
export function specialStrokes(character: string, layout: LayoutName): Stroke[] | null {
  return kLayouts[layout].get(character) ?? null;
}

// How to type a character; null when the session's layout is not known to have it.
export function strokesFor(character: string, layout: LayoutName): Stroke[] | null {
  const control = kControls[character];
  if (control !== undefined) return [{ keyCode: control }];
  const special = specialStrokes(character, layout);
  if (special !== null) return special;
  return character >= ' ' && character <= '~' ? [{ character }] : null;
}
