// Shows for a moment where the local user's pointer is.
import { View } from './View.js';
import { Point } from './Zoom.js';

const kShownMs = 1500;

export class Marker {
  private point: Point = { x: 0, y: 0 };
  private timer = 0;

  constructor(
    private readonly element: HTMLElement,
    private readonly view: View,
  ) {}

  show(point: Point): void {
    this.point = point;
    this.lay();
    this.element.classList.add('shown');
    clearTimeout(this.timer);
    this.timer = setTimeout(() => this.element.classList.remove('shown'), kShownMs);
  }

  // After the view has moved below it.
  lay(): void {
    const { x, y } = this.view.toStage(this.point);
    this.element.style.transform = `translate(${x}px, ${y}px)`;
  }
}
