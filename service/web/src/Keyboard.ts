// The local keyboard: what is pressed in a hidden text field goes to the session.
//
// The field is there so that dead keys, input methods and keyboards on the screen work: what they make of keys
// arrives in it as text.
import { functionKeyCode, Vk } from './KeyCodes.js';
import { specialStrokes } from './LayoutKeys.js';
import { KeyAction, translateKey } from './KeyTranslator.js';
import { LayoutName } from './Messages.js';
import { characterRecord, keyRecord, releaseRecord } from './Records.js';
import { Typist } from './Typist.js';

// A character that stays in the field, so that there is something for a keyboard on the screen to delete.
const kFiller = ' ';
const kShifts = [Vk.shift, 0xa1];
const kIsMac = /Mac|iPhone|iPad/.test(navigator.platform);

// The browser's names of the modifiers, by the codes of their keys.
const kModifiers: Record<number, string[]> = {
  [Vk.shift]: ['Shift'],
  0xa1: ['Shift'],
  [Vk.control]: ['Control'],
  0xa3: ['Control'],
  [Vk.alt]: ['Alt'],
  [Vk.rightAlt]: ['Alt', 'AltGraph'],
  [Vk.platform]: ['Meta'],
  0x5c: ['Meta'],
};

// A pressed key, by how it was sent: its release goes the same way.
type Held = Extract<KeyAction, { kind: 'key' | 'character' }>;

function isSame(one: Held, other: Held): boolean {
  return one.kind === 'key'
    ? other.kind === 'key' && one.keyCode === other.keyCode
    : other.kind === 'character' && one.character === other.character;
}

export class Keyboard {
  // By code. Keys of unusual places share the empty one: what they yield can be another thing when they come up.
  private readonly held = new Map<string, Held>();
  private active = false;
  private layout: LayoutName = 'other';

  // `leave`: the person wants the keyboard to act on the page again. `released`: the session was told to let go
  // of all keys.
  constructor(
    private readonly field: HTMLTextAreaElement,
    private readonly typist: Typist,
    private readonly leave: () => void,
    private readonly released: () => void,
  ) {
    field.addEventListener('keydown', (event) => this.onKeyDown(event));
    field.addEventListener('keyup', (event) => this.onKeyUp(event));
    field.addEventListener('input', (event) => {
      if (!(event as InputEvent).isComposing) this.takeText();
    });
    field.addEventListener('compositionend', () => this.takeText());
    field.addEventListener('beforeinput', (event) => this.onBeforeInput(event));
    field.addEventListener('blur', () => this.releaseAll());
    window.addEventListener('blur', () => this.releaseAll());
    this.clearField();
  }

  // Whether keys go to the session; what is held is let go when they do not.
  setActive(active: boolean): void {
    if (this.active && !active) {
      this.typist.cancel();
      this.releaseAll();
    }
    this.active = active;
  }

  setLayout(layout: LayoutName): void {
    this.layout = layout;
  }

  focus(): void {
    this.field.focus({ preventScroll: true });
  }

  // Keys and buttons of the page that are down in the session come up.
  releaseAll(): void {
    this.held.clear();
    this.clearField();
    if (!this.active) return;
    this.typist.send(releaseRecord());
    this.released();
  }

  private onKeyDown(event: KeyboardEvent): void {
    if (event.ctrlKey && event.altKey && event.key === 'Home') {
      event.preventDefault();
      this.releaseAll();
      this.leave();
      return;
    }
    if (!this.active) return;
    this.releaseLostModifiers(event);
    const action = translateKey({
      key: event.key,
      code: event.code,
      altGr: event.getModifierState('AltGraph') || (kIsMac && event.altKey),
      shift: event.shiftKey,
      composing: event.isComposing || event.keyCode === 229,
    });
    if (action.kind === 'compose') return;
    event.preventDefault();
    if (action.kind === 'text') this.typist.type(action.text, this.heldShifts());
    if (action.kind !== 'key' && action.kind !== 'character') return;
    if (event.key === 'AltGraph') this.releaseAltGrControl();
    if (event.repeat && this.isModifier(action)) return;
    if (action.kind === 'character' && specialStrokes(action.character, this.layout) !== null) {
      this.typist.type(action.character, this.heldShifts());
      return;
    }
    const before = this.held.get(event.code);
    if (before !== undefined && !isSame(before, action)) this.post(before, false);
    this.post(action, true);
    this.held.set(event.code, action);
  }

  private onKeyUp(event: KeyboardEvent): void {
    const action = this.held.get(event.code);
    if (action !== undefined) {
      // Also a modifier's: of Alt alone a browser opens its menu.
      event.preventDefault();
      this.held.delete(event.code);
      this.post(action, false);
    }
    this.releaseLostModifiers(event);
    // While this key is held, some systems keep the release of others to themselves.
    if (event.key === 'Meta') this.releaseAll();
  }

  // The release of a modifier gets lost when a dead key or an input method took the key between.
  private releaseLostModifiers(event: KeyboardEvent): void {
    for (const [code, action] of this.held) {
      const names = action.kind === 'key' ? kModifiers[action.keyCode] : undefined;
      if (names === undefined || names.some((name) => event.getModifierState(name))) continue;
      this.held.delete(code);
      this.post(action, false);
    }
  }

  // Some systems press the left Control key with AltGr.
  private releaseAltGrControl(): void {
    const control = this.held.get('ControlLeft');
    if (control === undefined) return;
    this.held.delete('ControlLeft');
    this.post(control, false);
  }

  private onBeforeInput(event: InputEvent): void {
    const keys: Record<string, string> = {
      deleteContentBackward: 'Backspace',
      deleteContentForward: 'Delete',
      insertLineBreak: 'Enter',
    };
    const key = keys[event.inputType];
    if (key === undefined || event.isComposing) return;
    event.preventDefault();
    if (this.active) this.typist.tap(functionKeyCode(key));
  }

  private takeText(): void {
    const { value } = this.field;
    const text = value.startsWith(kFiller) ? value.slice(kFiller.length) : value;
    this.clearField();
    if (this.active && text !== '') this.typist.type(text, this.heldShifts());
  }

  private clearField(): void {
    this.field.value = kFiller;
    this.field.setSelectionRange(kFiller.length, kFiller.length);
  }

  private heldShifts(): number[] {
    return kShifts.filter((shift) =>
      [...this.held.values()].some((action) => action.kind === 'key' && action.keyCode === shift),
    );
  }

  private isModifier(action: Held): boolean {
    return action.kind === 'key' && action.keyCode in kModifiers;
  }

  private post(action: Held, pressed: boolean): void {
    this.typist.send(
      action.kind === 'key'
        ? keyRecord(action.keyCode, pressed)
        : characterRecord(action.character, action.fallback, pressed, action.shift),
    );
  }
}
