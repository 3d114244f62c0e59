// Keys that the browser or the local system keeps to itself, and modifiers that stay down, for keyboards on the screen.
import { element, setPressed } from './dom.js';
import { functionKeyCode, Vk } from './KeyCodes.js';
import { Menu } from './Menu.js';
import { keyRecord } from './Records.js';
import { Typist } from './Typist.js';

const kChords: [label: string, keyCodes: number[]][] = [
  ['Ctrl + Alt + Del', [Vk.control, Vk.alt, Vk.delete]],
  ['Alt + Tab', [Vk.alt, Vk.tab]],
  ['Alt + F4', [Vk.alt, functionKeyCode('F4')]],
  ['Super / Cmd', [Vk.platform]],
  ['Menu key', [functionKeyCode('ContextMenu')]],
  ['Escape', [Vk.escape]],
  ['Tab', [Vk.tab]],
  ['Print', [Vk.printScreen]],
  ['Pause', [functionKeyCode('Pause')]],
  ['Insert', [functionKeyCode('Insert')]],
];

const kModifiers: [label: string, keyCode: number][] = [
  ['Ctrl', Vk.control],
  ['Alt', Vk.alt],
  ['Shift', Vk.shift],
  ['Super', Vk.platform],
];

const kFunctionKeys = 20;

export class KeysMenu {
  private readonly toggles: HTMLButtonElement[] = [];

  constructor(private readonly typist: Typist) {
    new Menu(element('keys', HTMLButtonElement), element('keys-panel', HTMLDivElement));
    const chords = element('keys-chords', HTMLDivElement);
    for (const [label, keyCodes] of kChords) this.add(chords, label, () => typist.chord(keyCodes));
    const functions = element('keys-functions', HTMLDivElement);
    for (let i = 1; i <= kFunctionKeys; i++)
      this.add(functions, `F${i}`, () => typist.tap(functionKeyCode(`F${i}`)));
    const modifiers = element('keys-modifiers', HTMLDivElement);
    for (const [label, keyCode] of kModifiers) this.addToggle(modifiers, label, keyCode);
  }

  // The session has let go of all keys.
  forgetHeld(): void {
    for (const toggle of this.toggles) setPressed(toggle, false);
  }

  private add(group: HTMLElement, label: string, act: () => void): HTMLButtonElement {
    const button = document.createElement('button');
    button.type = 'button';
    button.textContent = label;
    button.addEventListener('click', act);
    group.append(button);
    return button;
  }

  private addToggle(group: HTMLElement, label: string, keyCode: number): void {
    const toggle = this.add(group, label, () => {
      const pressed = toggle.getAttribute('aria-pressed') !== 'true';
      setPressed(toggle, pressed);
      this.typist.send(keyRecord(keyCode, pressed));
    });
    setPressed(toggle, false);
    this.toggles.push(toggle);
  }
}
