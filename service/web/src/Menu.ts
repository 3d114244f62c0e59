// A button that opens a panel. Escape, a click elsewhere and, unless the panel stays, a choice close it.

export class Menu {
  constructor(
    private readonly button: HTMLButtonElement,
    private readonly panel: HTMLElement,
  ) {
    button.setAttribute('aria-expanded', 'false');
    button.setAttribute('aria-controls', panel.id);
    button.addEventListener('click', () => this.setOpen(!this.isOpen));
    document.addEventListener('pointerdown', (event) => {
      if (event.target instanceof Node && !panel.contains(event.target) && !button.contains(event.target))
        this.setOpen(false);
    });
    for (const part of [button, panel])
      part.addEventListener('keydown', (event) => {
        if (event.key !== 'Escape' || !this.isOpen) return;
        event.stopPropagation();
        this.setOpen(false);
        button.focus();
      });
  }

  setOpen(open: boolean): void {
    this.panel.classList.toggle('open', open);
    this.button.setAttribute('aria-expanded', String(open));
  }

  private get isOpen(): boolean {
    return this.panel.classList.contains('open');
  }
}
