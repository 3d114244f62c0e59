// The bar: what it shows of the session, and how it hides in full screen.
import { button, element, setPressed } from './dom.js';
import { FullScreen } from './FullScreen.js';
import { Menu } from './Menu.js';
import { Monitor } from './Messages.js';
import { Recorder } from './Recorder.js';
import { Role } from './SessionModel.js';
import { sizeText } from './Status.js';
import { ZoomMode } from './Zoom.js';

export interface ToolbarActions {
  fit(): void;
  actualSize(): void;
  zoomIn(): void;
  zoomOut(): void;
  // null for all monitors.
  chooseMonitor(id: number | null): void;
  changeControl(): void;
  showKeyboard(): void;
  paste(): void;
  setWheelArrows(on: boolean): void;
  setLock(on: boolean): void;
  setBlank(on: boolean): void;
  savePicture(): void;
  toggleRecording(): void;
  refresh(): void;
  toggleFullScreen(): void;
  // The person has done with the bar.
  leave(): void;
}

const kRoles: Record<Role, { role: string; control: string | null }> = {
  controlling: { role: 'In control', control: 'View only' },
  watching: { role: 'View only', control: 'Request control' },
  'watching-free': { role: 'View only', control: 'Take control' },
  asking: { role: 'View only', control: 'Asked…' },
  'never-controlling': { role: 'View only', control: null },
};

export class Toolbar {
  private readonly root = element('toolbar', HTMLElement);
  private readonly monitor = element('monitor', HTMLSelectElement);
  private readonly control: HTMLButtonElement;
  private readonly lock: HTMLButtonElement;
  private readonly blank: HTMLButtonElement;
  private readonly record: HTMLButtonElement;
  private readonly fit: HTMLButtonElement;
  private readonly actual: HTMLButtonElement;

  constructor(actions: ToolbarActions) {
    this.fit = button('fit', () => actions.fit());
    this.actual = button('actual', () => actions.actualSize());
    button('zoom-in', () => actions.zoomIn());
    button('zoom-out', () => actions.zoomOut());
    this.monitor.addEventListener('change', () =>
      actions.chooseMonitor(this.monitor.value === '' ? null : Number(this.monitor.value)),
    );
    this.control = button('control', () => actions.changeControl());
    button('keyboard', () => actions.showKeyboard());
    const more = new Menu(element('more', HTMLButtonElement), element('more-panel', HTMLDivElement));
    button('paste', () => {
      more.setOpen(false);
      actions.paste();
    });
    const wheel = button('wheel', () => {
      setPressed(wheel, !isPressed(wheel));
      actions.setWheelArrows(isPressed(wheel));
    });
    this.lock = button('lock', () => actions.setLock(!isPressed(this.lock)));
    this.blank = button('blank', () => actions.setBlank(!isPressed(this.blank)));
    button('picture', () => actions.savePicture());
    this.record = button('record', () => actions.toggleRecording());
    this.record.hidden = !Recorder.isSupported;
    button('refresh', () => actions.refresh());
    button('full', () => actions.toggleFullScreen()).hidden = !FullScreen.isSupported;
    const leave = () => {
      this.setHidden(true);
      actions.leave();
    };
    button('hide', leave);
    button('unhide', () => this.focus());
    // Who works with the mouse goes on typing on the desktop.
    this.root.addEventListener('mousedown', (event) => {
      if (!(event.target instanceof HTMLSelectElement)) event.preventDefault();
    });
    this.root.addEventListener('keydown', (event) => {
      if (event.key === 'Escape') leave();
      if (event.key === 'ArrowLeft') this.moveFocus(-1);
      if (event.key === 'ArrowRight') this.moveFocus(1);
    });
  }

  setComputer(name: string): void {
    element('computer', HTMLElement).textContent = name;
    document.title = name;
  }

  setConnected(connected: boolean): void {
    element('dot', HTMLElement).classList.toggle('on', connected);
  }

  setRole(role: Role): void {
    const { role: text, control } = kRoles[role];
    element('role', HTMLElement).textContent = text;
    this.control.hidden = control === null;
    this.control.disabled = role === 'asking';
    this.control.textContent = control;
    this.control.classList.toggle('primary', role !== 'controlling');
    document.body.classList.toggle('controlling', role === 'controlling');
  }

  // null where it is not permitted, else whether it is asked for now.
  setLock(lock: boolean | null): void {
    this.lock.hidden = lock === null;
    setPressed(this.lock, lock === true);
  }

  setBlank(blank: boolean | null): void {
    this.blank.hidden = blank === null;
    setPressed(this.blank, blank === true);
  }

  setMonitors(monitors: readonly Monitor[], chosen: number | null): void {
    element('monitor-group', HTMLElement).hidden = monitors.length < 2;
    const option = (value: string, text: string) =>
      new Option(text, value, false, value === String(chosen ?? ''));
    this.monitor.replaceChildren(
      option('', 'All monitors'),
      ...monitors.map(({ id, primary }, i) =>
        option(String(id), `Monitor ${i + 1}${primary ? ' (main)' : ''}`),
      ),
    );
  }

  // `scale`: pixels of the display for one of the screen.
  setZoom(mode: ZoomMode, scale: number): void {
    element('zoom', HTMLOutputElement).textContent = `${Math.round(scale * 100)} %`;
    setPressed(this.fit, mode === 'fit');
    setPressed(this.actual, mode !== 'fit' && Math.abs(scale - 1) < 0.005);
  }

  // The bytes of the recording so far; null when there is none.
  setRecording(bytes: number | null): void {
    setPressed(this.record, bytes !== null);
    this.record.title =
      bytes === null ? 'Record to a file' : `Stop and save the recording (${sizeText(bytes)})`;
  }

  setHidden(hidden: boolean): void {
    document.body.classList.toggle('bar-hidden', hidden);
  }

  focus(): void {
    this.setHidden(false);
    this.buttons()[0]?.focus();
  }

  private buttons(): HTMLElement[] {
    return [...this.root.querySelectorAll<HTMLElement>('button, select')].filter((item) =>
      item.checkVisibility(),
    );
  }

  private moveFocus(step: 1 | -1): void {
    const buttons = this.buttons();
    const now = buttons.indexOf(document.activeElement as HTMLElement);
    if (now >= 0 && !(document.activeElement instanceof HTMLSelectElement))
      buttons[(now + step + buttons.length) % buttons.length]!.focus();
  }
}

function isPressed(toggle: HTMLButtonElement): boolean {
  return toggle.getAttribute('aria-pressed') === 'true';
}
