// Mouse and pen: moves, both buttons and drags, which go on outside of the desktop.
import { Button, PointerOutput } from './PointerOutput.js';
import { View } from './View.js';
import { Point } from './Zoom.js';

// By `PointerEvent.button`; the protocol has no others.
const kButtons: Record<number, Button> = { 0: 'left', 2: 'right' };

export class Mouse {
  private readonly held = new Set<Button>();
  // A pen that the browser takes away has no place any more.
  private last: Point = { x: 0, y: 0 };

  // `touched` is called when the person turns to the desktop.
  constructor(
    stage: HTMLElement,
    private readonly view: View,
    private readonly output: PointerOutput,
    private readonly touched: () => void,
  ) {
    stage.addEventListener('pointerdown', (event) => this.onDown(stage, event));
    stage.addEventListener('pointermove', (event) => this.onMove(event));
    stage.addEventListener('pointerup', (event) => this.onUp(event));
    stage.addEventListener('pointercancel', (event) => this.onCancel(event));
    stage.addEventListener('contextmenu', (event) => event.preventDefault());
  }

  private onDown(stage: HTMLElement, event: PointerEvent): void {
    if (event.pointerType === 'touch') return;
    // Keeps the focus where `touched` puts it, and the browser's own dragging away.
    event.preventDefault();
    stage.setPointerCapture(event.pointerId);
    this.touched();
    this.turn(event, true);
  }

  // While a button is down, another one comes as a move.
  private onMove(event: PointerEvent): void {
    if (event.pointerType === 'touch') return;
    if (event.button >= 0) this.turn(event, (event.buttons & (event.button === 2 ? 2 : 1)) !== 0);
    else this.output.move(this.at(event));
  }

  private onUp(event: PointerEvent): void {
    if (event.pointerType !== 'touch') this.turn(event, false);
  }

  private onCancel(event: PointerEvent): void {
    if (event.pointerType === 'touch') return;
    for (const button of this.held) this.output.release(button, this.last);
    this.held.clear();
  }

  private turn(event: PointerEvent, pressed: boolean): void {
    const button = kButtons[event.button];
    if (button === undefined) return;
    if (pressed) {
      this.held.add(button);
      this.output.press(button, this.at(event));
    } else {
      this.held.delete(button);
      this.output.release(button, this.at(event));
    }
  }

  private at(event: PointerEvent): Point {
    this.last = this.view.toScreen({ x: event.clientX, y: event.clientY });
    return this.last;
  }
}
