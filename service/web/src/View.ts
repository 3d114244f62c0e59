// Where the screen, or the part of it that is shown, lies in the window.
import { Part } from './Messages.js';
import { anchoredScroll, clampScale, fitScale, nextStep, Point, Size, ZoomMode } from './Zoom.js';

export class View {
  private screen: Size = { width: 0, height: 0 };
  private part: Part = { left: 0, top: 0, right: 0, bottom: 0 };
  private mode: ZoomMode = 'fit';
  private scale = 1;
  private offset: Point = { x: 0, y: 0 };

  // `viewport` scrolls `stage`, which shows a part of `canvas`. `changed` is called when the scale is another one.
  constructor(
    private readonly viewport: HTMLElement,
    private readonly stage: HTMLElement,
    private readonly canvas: HTMLCanvasElement,
    private readonly changed: () => void,
  ) {
    new ResizeObserver(() => this.lay()).observe(viewport);
  }

  show(screen: Size, part: Part): void {
    this.screen = screen;
    this.part = part;
    this.lay();
  }

  get zoomMode(): ZoomMode {
    return this.mode;
  }

  // Pixels of the display for one of the screen.
  get displayScale(): number {
    return this.scale * devicePixelRatio;
  }

  fit(): void {
    this.mode = 'fit';
    this.lay();
  }

  // One pixel of the display for one of the screen.
  showActualSize(): void {
    this.zoomTo(1 / devicePixelRatio, this.centre());
  }

  step(direction: 1 | -1): void {
    this.zoomTo(nextStep(this.displayScale, direction) / devicePixelRatio, this.centre());
  }

  // `anchor`, in pixels of the window, stays where it is.
  zoomBy(factor: number, anchor: Point): void {
    this.zoomTo(this.scale * factor, anchor);
  }

  scrollBy(x: number, y: number): void {
    this.viewport.scrollBy(x, y);
  }

  // The pixel of the screen below a point of the window; the nearest one that is shown when there is none.
  toScreen(point: Point): Point {
    const bounds = this.stage.getBoundingClientRect();
    const clamp = (value: number, low: number, high: number) => Math.min(Math.max(value, low), high - 1);
    return {
      x: clamp(
        this.part.left + Math.floor((point.x - bounds.left) / this.scale),
        this.part.left,
        this.part.right,
      ),
      y: clamp(
        this.part.top + Math.floor((point.y - bounds.top) / this.scale),
        this.part.top,
        this.part.bottom,
      ),
    };
  }

  // Where the middle of a pixel of the screen lies on the stage.
  toStage(point: Point): Point {
    return {
      x: (point.x + 0.5 - this.part.left) * this.scale,
      y: (point.y + 0.5 - this.part.top) * this.scale,
    };
  }

  private centre(): Point {
    const { left, top, width, height } = this.viewport.getBoundingClientRect();
    return { x: left + width / 2, y: top + height / 2 };
  }

  private zoomTo(scale: number, anchor: Point): void {
    const { left, top } = this.viewport.getBoundingClientRect();
    const before = { scale: this.scale, offset: this.offset };
    this.mode = clampScale(scale);
    this.lay();
    const ratio = this.scale / before.scale;
    const { scrollLeft, scrollTop } = this.viewport;
    this.viewport.scrollTo(
      anchoredScroll(scrollLeft, anchor.x - left, before.offset.x, this.offset.x, ratio),
      anchoredScroll(scrollTop, anchor.y - top, before.offset.y, this.offset.y, ratio),
    );
  }

  private lay(): void {
    const { viewport, stage, canvas, part } = this;
    const content = { width: part.right - part.left, height: part.bottom - part.top };
    viewport.classList.toggle('fit', this.mode === 'fit');
    this.scale =
      this.mode === 'fit'
        ? fitScale(content, { width: viewport.clientWidth, height: viewport.clientHeight })
        : this.mode;
    const size = { width: content.width * this.scale, height: content.height * this.scale };
    stage.style.width = `${size.width}px`;
    stage.style.height = `${size.height}px`;
    // Whole pixels, so that the actual size is sharp.
    this.offset = {
      x: Math.max(0, Math.floor((viewport.clientWidth - size.width) / 2)),
      y: Math.max(0, Math.floor((viewport.clientHeight - size.height) / 2)),
    };
    stage.style.marginLeft = `${this.offset.x}px`;
    stage.style.marginTop = `${this.offset.y}px`;
    canvas.style.width = `${this.screen.width * this.scale}px`;
    canvas.style.height = `${this.screen.height * this.scale}px`;
    canvas.style.left = `${-part.left * this.scale}px`;
    canvas.style.top = `${-part.top * this.scale}px`;
    canvas.classList.toggle('large', this.displayScale >= 2);
    this.changed();
  }
}
