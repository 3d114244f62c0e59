// Fingers: a tap clicks, a long press clicks with the right button, a finger that moves drags, two fingers move
// and zoom the view. Where there is no control, one finger moves the view.
import { PointerOutput } from './PointerOutput.js';
import { View } from './View.js';
import { Point } from './Zoom.js';

const kLongPressMs = 500;
// A finger that moved less lies still, pixels of the window.
const kStill = 10;

type Phase = 'idle' | 'pressing' | 'dragging' | 'moving-view' | 'done';

export class Touch {
  private readonly fingers = new Map<number, Point>();
  private phase: Phase = 'idle';
  private start: Point = { x: 0, y: 0 };
  private timer = 0;

  constructor(
    stage: HTMLElement,
    private readonly view: View,
    private readonly output: PointerOutput,
  ) {
    const listen = (
      type: 'pointerdown' | 'pointermove' | 'pointerup' | 'pointercancel',
      act: (event: PointerEvent) => void,
    ) =>
      stage.addEventListener(type, (event) => {
        if (event.pointerType === 'touch') act(event);
      });
    listen('pointerdown', (event) => {
      stage.setPointerCapture(event.pointerId);
      this.onDown(event.pointerId, { x: event.clientX, y: event.clientY });
    });
    listen('pointermove', (event) => this.onMove(event.pointerId, { x: event.clientX, y: event.clientY }));
    listen('pointerup', (event) => this.onUp(event.pointerId, true));
    listen('pointercancel', (event) => this.onUp(event.pointerId, false));
  }

  private onDown(finger: number, point: Point): void {
    this.fingers.set(finger, point);
    clearTimeout(this.timer);
    if (this.fingers.size > 1) {
      if (this.phase === 'dragging') this.output.release('left', this.view.toScreen(this.start));
      this.phase = 'moving-view';
      return;
    }
    this.start = point;
    this.phase = 'pressing';
    this.timer = setTimeout(() => {
      this.phase = 'done';
      this.output.click('right', this.view.toScreen(point));
    }, kLongPressMs);
  }

  private onMove(finger: number, point: Point): void {
    const before = this.fingers.get(finger);
    if (before === undefined) return;
    if (this.phase === 'pressing' && Math.hypot(point.x - this.start.x, point.y - this.start.y) > kStill) {
      clearTimeout(this.timer);
      this.phase = this.output.isActive ? 'dragging' : 'moving-view';
      this.output.press('left', this.view.toScreen(this.start));
    }
    if (this.phase === 'dragging') {
      this.output.move(this.view.toScreen(point));
      this.start = point;
    }
    if (this.phase === 'moving-view') this.moveView(finger, before, point);
    this.fingers.set(finger, point);
  }

  private moveView(finger: number, before: Point, point: Point): void {
    const other = [...this.fingers].find(([id]) => id !== finger)?.[1];
    if (other === undefined) {
      this.view.scrollBy(before.x - point.x, before.y - point.y);
      return;
    }
    const distance = (a: Point) => Math.max(1, Math.hypot(a.x - other.x, a.y - other.y));
    this.view.zoomBy(distance(point) / distance(before), {
      x: (before.x + other.x) / 2,
      y: (before.y + other.y) / 2,
    });
    // Each finger moves the middle between them by half of its own way.
    this.view.scrollBy((before.x - point.x) / 2, (before.y - point.y) / 2);
  }

  // `meant`: the person lifted the finger; the browser may also take it away.
  private onUp(finger: number, meant: boolean): void {
    clearTimeout(this.timer);
    this.fingers.delete(finger);
    if (this.phase === 'pressing' && meant) this.output.click('left', this.view.toScreen(this.start));
    if (this.phase === 'dragging') this.output.release('left', this.view.toScreen(this.start));
    if (this.phase !== 'moving-view' || this.fingers.size === 0) this.phase = 'idle';
  }
}
