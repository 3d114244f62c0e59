// Access to the page's elements.

// The element with this id; one that the markup lacks is a mistake in the page.
export function element<T extends HTMLElement>(id: string, type: new () => T): T {
  const found = document.getElementById(id);
  if (!(found instanceof type)) throw new Error(`the page has no ${type.name} #${id}`);
  return found;
}

export function button(id: string, onClick: () => void): HTMLButtonElement {
  const found = element(id, HTMLButtonElement);
  found.addEventListener('click', onClick);
  return found;
}

export function setPressed(toggle: HTMLButtonElement, pressed: boolean): void {
  toggle.setAttribute('aria-pressed', String(pressed));
}

// Has the browser save `file`.
export function save(file: Blob, name: string): void {
  const link = document.createElement('a');
  const address = URL.createObjectURL(file);
  link.href = address;
  link.download = name;
  link.click();
  // The download has begun by then; the browser keeps the file for it.
  setTimeout(() => URL.revokeObjectURL(address), 60_000);
}

// "Office-PC 2026-11-21 14.03.07": characters that every file system takes.
export function fileName(computer: string, ending: string): string {
  const now = new Date();
  const two = (value: number) => String(value).padStart(2, '0');
  const date = `${now.getFullYear()}-${two(now.getMonth() + 1)}-${two(now.getDate())}`;
  const time = `${two(now.getHours())}.${two(now.getMinutes())}.${two(now.getSeconds())}`;
  return `${computer.replace(/[^\p{L}\p{N}._-]+/gu, '-') || 'desktop'} ${date} ${time}.${ending}`;
}
