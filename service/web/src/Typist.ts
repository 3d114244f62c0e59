// Types text in the session, key by key.
import { Vk } from './KeyCodes.js';
import { Stroke, strokesFor } from './LayoutKeys.js';
import { LayoutName } from './Messages.js';
import { characterRecord, keyRecord } from './Records.js';

export type SendRecord = (record: Uint8Array) => void;

export class Typist {
  private layout: LayoutName = 'other';

  constructor(private readonly send: SendRecord) {}

  setLayout(layout: LayoutName): void {
    this.layout = layout;
  }

  // Returns the characters that the session's layout has no key for, each once.
  missingFrom(text: string): string[] {
    return [...new Set(text)].filter((character) => strokesFor(character, this.layout) === null);
  }

  // What cannot be typed is left out. `heldShifts`: key codes of the Shift keys that are down in the session; they
  // are up while keys are pressed by their codes.
  type(text: string, heldShifts: readonly number[] = []): void {
    for (const character of text)
      for (const stroke of strokesFor(character, this.layout) ?? []) this.strike(stroke, heldShifts);
  }

  tap(keyCode: number): void {
    this.send(keyRecord(keyCode, true));
    this.send(keyRecord(keyCode, false));
  }

  // All down in this order, then up in the opposite one.
  chord(keyCodes: readonly number[]): void {
    for (const keyCode of keyCodes) this.send(keyRecord(keyCode, true));
    for (const keyCode of [...keyCodes].reverse()) this.send(keyRecord(keyCode, false));
  }

  private strike(stroke: Stroke, heldShifts: readonly number[]): void {
    if ('character' in stroke) {
      this.send(characterRecord(stroke.character, 0, true, false));
      this.send(characterRecord(stroke.character, 0, false, false));
      return;
    }
    for (const shift of heldShifts) this.send(keyRecord(shift, false));
    const modifiers = [...(stroke.altGr ? [Vk.rightAlt] : []), ...(stroke.shift ? [Vk.shift] : [])];
    this.chord([...modifiers, stroke.keyCode]);
    for (const shift of heldShifts) this.send(keyRecord(shift, true));
  }
}
