// Types a text in the session, slowly enough for programs to follow.
import { button, element } from './dom.js';
import { Typist } from './Typist.js';

const kIntervalMs = 16;
const kCharactersPerInterval = 2;

export class PasteDialog {
  private readonly dialog = element('paste-dialog', HTMLDialogElement);
  private readonly text = element('paste-text', HTMLTextAreaElement);
  private readonly progress = element('paste-progress', HTMLProgressElement);
  private readonly report = element('paste-report', HTMLParagraphElement);
  private readonly start = button('paste-start', () => this.begin());
  private timer = 0;
  private rest: string[] = [];
  private done = 0;

  constructor(private readonly typist: Typist) {
    button('paste-cancel', () => this.dialog.close());
    this.text.addEventListener('input', () => this.warn());
    // Also by Escape.
    this.dialog.addEventListener('close', () => this.stop());
  }

  open(): void {
    this.text.value = '';
    this.showRest();
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
    const missing = this.typist.missingFrom(this.text.value.replaceAll('\r', ''));
    this.report.textContent = missing.length === 0 ? '' : `${words} ${missing.map(spell).join(' ')}`;
  }

  private begin(): void {
    this.rest = [...this.text.value.replaceAll('\r', '')];
    this.done = 0;
    this.text.readOnly = true;
    this.start.disabled = true;
    this.progress.hidden = false;
    this.timer = setInterval(() => this.typeSome(), kIntervalMs);
    this.showRest();
  }

  private typeSome(): void {
    const now = this.rest.slice(this.done, this.done + kCharactersPerInterval);
    this.typist.type(now.join(''));
    this.done += now.length;
    this.showRest();
    if (this.done < this.rest.length) return;
    // What could not be typed stays to be read.
    this.showMissing('Typed, but for what the desktop has no key for:');
    if (this.report.textContent === '') this.dialog.close();
    else this.stop();
  }

  private stop(): void {
    clearInterval(this.timer);
    this.text.readOnly = false;
    this.progress.hidden = true;
  }

  private showRest(): void {
    this.progress.max = Math.max(1, this.rest.length);
    this.progress.value = this.done;
  }
}

// A character as it can be seen, with its number when it cannot.
function spell(character: string): string {
  return /[\p{C}\p{Z}\p{M}]/u.test(character)
    ? `U+${character.codePointAt(0)!.toString(16).toUpperCase().padStart(4, '0')}`
    : character;
}
