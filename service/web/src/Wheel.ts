// The wheel: zooms with Control, scrolls what does not fit, and types arrow keys when that is wanted, since the
// protocol has no wheel.
import { Vk } from './KeyCodes.js';
import { Typist } from './Typist.js';
import { View } from './View.js';

// Pixels of scrolling for one arrow key.
const kPixelsPerKey = 40;
const kPixelsPerLine = 16;

export class Wheel {
  private arrows = false;
  private rest = { x: 0, y: 0 };

  constructor(
    viewport: HTMLElement,
    private readonly view: View,
    private readonly typist: Typist,
  ) {
    viewport.addEventListener('wheel', (event) => this.onWheel(event), { passive: false });
  }

  setArrows(arrows: boolean): void {
    this.arrows = arrows;
    this.rest = { x: 0, y: 0 };
  }

  private onWheel(event: WheelEvent): void {
    const unit = event.deltaMode === WheelEvent.DOM_DELTA_PIXEL ? 1 : kPixelsPerLine;
    if (event.ctrlKey) {
      event.preventDefault();
      this.view.zoomBy(Math.exp((-event.deltaY * unit) / 400), { x: event.clientX, y: event.clientY });
    } else if (this.arrows) {
      event.preventDefault();
      this.rest.x = this.tap(this.rest.x + event.deltaX * unit, Vk.left, Vk.right);
      this.rest.y = this.tap(this.rest.y + event.deltaY * unit, Vk.up, Vk.down);
    }
  }

  // Returns what is left of `way`.
  private tap(way: number, back: number, forward: number): number {
    const keys = Math.trunc(way / kPixelsPerKey);
    for (let i = 0; i < Math.abs(keys); i++) this.typist.tap(keys < 0 ? back : forward);
    return way - keys * kPixelsPerKey;
  }
}
