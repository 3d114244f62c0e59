// Types in the session, key by key: text slowly enough for programs to follow, and all else in order with it.
import { Vk } from './KeyCodes.js';
import { Stroke, strokesFor } from './LayoutKeys.js';
import { LayoutName } from './Messages.js';
import { characterRecord, keyRecord, releaseRecord } from './Records.js';

export type SendRecord = (record: Uint8Array) => void;

const kIntervalMs = 16;
const kStepsPerInterval = 2;

export class Typist {
  private layout: LayoutName = 'other';
  // What a text holds up: its characters, and what came after it.
  private waiting: (() => void)[] = [];
  private timer: ReturnType<typeof setInterval> | null = null;

  constructor(private readonly sendNow: SendRecord) {}

  setLayout(layout: LayoutName): void {
    this.layout = layout;
  }

  // Returns the characters that the session's layout has no key for, each once.
  missingFrom(text: string): string[] {
    return [...new Set(text)].filter((character) => strokesFor(character, this.layout) === null);
  }

  // What cannot be typed is left out. `heldShifts`: key codes of the Shift keys that are down in the session; they
  // are up while keys are pressed by their codes. `typed` is called after each character.
  type(text: string, heldShifts: readonly number[] = [], typed: () => void = () => undefined): void {
    for (const character of text)
      this.waiting.push(() => {
        for (const stroke of strokesFor(character, this.layout) ?? []) this.strike(stroke, heldShifts);
        typed();
      });
    if (this.timer !== null) return;
    this.timer = setInterval(() => this.typeSome(), kIntervalMs);
    this.typeSome();
  }

  // What waits is dropped, and with it what would have come up.
  cancel(): void {
    if (this.waiting.length === 0) return;
    this.waiting = [];
    this.sendNow(releaseRecord());
  }

  send(record: Uint8Array): void {
    this.inOrder(() => this.sendNow(record));
  }

  tap(keyCode: number): void {
    this.chord([keyCode]);
  }

  // All down in this order, then up in the opposite one.
  chord(keyCodes: readonly number[]): void {
    this.inOrder(() => this.strikeKeys(keyCodes));
  }

  private inOrder(step: () => void): void {
    if (this.waiting.length === 0) step();
    else this.waiting.push(step);
  }

  private typeSome(): void {
    if (this.waiting.length === 0 && this.timer !== null) {
      clearInterval(this.timer);
      this.timer = null;
    }
    for (const step of this.waiting.splice(0, kStepsPerInterval)) step();
  }

  private strike(stroke: Stroke, heldShifts: readonly number[]): void {
    if ('character' in stroke) {
      this.sendNow(characterRecord(stroke.character, 0, true, false));
      this.sendNow(characterRecord(stroke.character, 0, false, false));
      return;
    }
    for (const shift of heldShifts) this.sendNow(keyRecord(shift, false));
    const modifiers = [...(stroke.altGr ? [Vk.rightAlt] : []), ...(stroke.shift ? [Vk.shift] : [])];
    this.strikeKeys([...modifiers, stroke.keyCode]);
    for (const shift of heldShifts) this.sendNow(keyRecord(shift, true));
  }

  private strikeKeys(keyCodes: readonly number[]): void {
    for (const keyCode of keyCodes) this.sendNow(keyRecord(keyCode, true));
    for (const keyCode of [...keyCodes].reverse()) this.sendNow(keyRecord(keyCode, false));
  }
}
