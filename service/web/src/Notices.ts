// Short messages at the lower edge that go by themselves, and questions that wait for an answer.
import { element } from './dom.js';

const kShownMs = 4000;

export class Notices {
  private said: HTMLElement | null = null;
  private readonly root = element('notices', HTMLDivElement);

  // `leave`: the person has done with a question, answered or not.
  constructor(private readonly leave: () => void) {
    this.root.addEventListener('keydown', (event) => {
      if (event.key === 'Escape') leave();
    });
  }

  // Takes the place of what was said before.
  say(text: string): void {
    this.said?.remove();
    const notice = this.add(text);
    this.said = notice;
    setTimeout(() => notice.remove(), kShownMs);
  }

  // One question at a time for each `key`; a new one takes the place of the old one.
  ask(key: string, text: string, yes: string, no: string, answer: (yes: boolean) => void): void {
    this.withdraw(key);
    const notice = this.add(text);
    notice.dataset.key = key;
    const choices = document.createElement('div');
    notice.append(choices);
    const choice = (label: string, value: boolean) => {
      const button = document.createElement('button');
      button.type = 'button';
      button.textContent = label;
      button.className = value ? 'primary' : '';
      button.addEventListener('click', () => {
        notice.remove();
        answer(value);
        this.leave();
      });
      choices.append(button);
    };
    choice(no, false);
    choice(yes, true);
  }

  // Puts the keyboard into the first question. Returns whether there is one.
  focus(): boolean {
    const first = this.root.querySelector<HTMLElement>('[data-key] button');
    first?.focus();
    return first !== null;
  }

  // The question for that key, if there is one, needs no answer any more.
  withdraw(key: string): void {
    const question = this.root.querySelector(`[data-key="${CSS.escape(key)}"]`);
    if (question === null) return;
    const focused = question.contains(document.activeElement);
    question.remove();
    if (focused) this.leave();
  }

  withdrawAll(): void {
    for (const question of this.root.querySelectorAll('[data-key]')) question.remove();
  }

  private add(text: string): HTMLDivElement {
    const notice = document.createElement('div');
    notice.className = 'notice';
    const words = document.createElement('span');
    words.textContent = text;
    notice.append(words);
    this.root.append(notice);
    return notice;
  }
}
