// The viewer's pointer in the session. Moves are sent at most once for each picture that the display shows.
import { PointerFlag, pointerRecord } from './Records.js';
import { SendRecord } from './Typist.js';
import { Point } from './Zoom.js';

export type Button = 'left' | 'right';

const kPressed = { left: PointerFlag.leftPressed, right: PointerFlag.rightPressed };
const kReleased = { left: PointerFlag.leftReleased, right: PointerFlag.rightReleased };

export class PointerOutput {
  private active = false;
  private latest: Point | null = null;
  private resting = true;

  constructor(private readonly send: SendRecord) {}

  // Whether the pointer acts in the session.
  setActive(active: boolean): void {
    this.active = active;
    this.latest = null;
  }

  get isActive(): boolean {
    return this.active;
  }

  // `point` in pixels of the screen, as everywhere here.
  move(point: Point): void {
    if (!this.active) return;
    this.latest = point;
    if (!this.resting) return;
    this.flush();
  }

  press(button: Button, point: Point): void {
    this.post(kPressed[button], point);
  }

  release(button: Button, point: Point): void {
    this.post(kReleased[button], point);
  }

  click(button: Button, point: Point): void {
    this.press(button, point);
    this.release(button, point);
  }

  private post(flags: number, point: Point): void {
    if (!this.active) return;
    this.latest = null;
    this.send(pointerRecord(PointerFlag.move | flags, point.x, point.y));
  }

  private flush(): void {
    if (this.latest === null) {
      this.resting = true;
      return;
    }
    this.resting = false;
    this.post(0, this.latest);
    requestAnimationFrame(() => this.flush());
  }
}
