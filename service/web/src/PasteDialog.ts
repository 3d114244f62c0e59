// Types a text in the session, and shows how far it has come.
import { button, element } from './dom.js';
import { Typist } from './Typist.js';

export class PasteDialog {
  private readonly dialog = element('paste-dialog', HTMLDialogElement);
  private readonly text = element('paste-text', HTMLTextAreaElement);
  private readonly progress = element('paste-progress', HTMLProgressElement);
  private readonly report = element('paste-report', HTMLParagraphElement);
  private readonly start = button('paste-start', () => this.begin());

  constructor(private readonly typist: Typist) {
    button('paste-cancel', () => this.dialog.close());
    this.text.addEventListener('input', () => this.warn());
    // Also by Escape.
    this.dialog.addEventListener('close', () => this.stop());
  }

  open(): void {
    this.text.value = '';
    this.warn();
    this.dialog.showModal();
    this.text.focus();
  }

  // The control of the session is lost.
  cancel(): void {
    this.dialog.close();
  }

  private warn(): void {
    this.start.disabled = this.text.value === '';
    this.showMissing('The keyboard layout of the desktop has no key for:');
  }

  // Nothing where all can be typed.
  private showMissing(words: string): void {
    const missing = this.typist.missingFrom(this.text.value);
    this.report.textContent = missing.length === 0 ? '' : `${words} ${missing.map(spell).join(' ')}`;
  }

  private begin(): void {
    this.text.readOnly = true;
    this.start.disabled = true;
    this.progress.max = [...this.text.value].length;
    this.progress.value = 0;
    this.progress.hidden = false;
    this.typist.type(this.text.value, [], () => this.showTyped());
  }

  private showTyped(): void {
    this.progress.value += 1;
    if (this.progress.value < this.progress.max) return;
    // What could not be typed stays to be read.
    this.showMissing('Typed, but for what the desktop has no key for:');
    if (this.report.textContent === '') this.dialog.close();
    else this.stop();
  }

  private stop(): void {
    this.typist.cancel();
    this.text.readOnly = false;
    this.progress.hidden = true;
  }
}

// A character as it can be seen, with its number when it cannot.
function spell(character: string): string {
  return /[\p{C}\p{Z}\p{M}]/u.test(character)
    ? `U+${character.codePointAt(0)!.toString(16).toUpperCase().padStart(4, '0')}`
    : character;
}
