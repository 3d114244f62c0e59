// The arithmetic of showing a part of the screen in a window.

export interface Size {
  width: number;
  height: number;
}

export interface Point {
  x: number;
  y: number;
}

// 'fit' follows the window; a number is pixels of the window for one of the screen.
export type ZoomMode = 'fit' | number;

export const kLeastScale = 0.1;
export const kGreatestScale = 8;
const kSteps = [0.1, 0.25, 0.33, 0.5, 0.67, 0.75, 0.9, 1, 1.25, 1.5, 2, 3, 4, 6, 8];

export function clampScale(scale: number): number {
  return Math.min(Math.max(scale, kLeastScale), kGreatestScale);
}

// The greatest scale at which all of `content` is seen in `window`.
export function fitScale(content: Size, window: Size): number {
  if (content.width === 0 || content.height === 0) return 1;
  return clampScale(Math.min(window.width / content.width, window.height / content.height));
}

// The next round step from `scale`, up or down; both are relative to one pixel of the display for one of the screen.
export function nextStep(scale: number, direction: 1 | -1): number {
  // A scale that is a step already, but for rounding, goes on to the next.
  const margin = 0.005;
  const next =
    direction > 0
      ? kSteps.find((step) => step > scale + margin)
      : kSteps.filter((step) => step < scale - margin).at(-1);
  return next ?? (direction > 0 ? kGreatestScale : kLeastScale);
}

// How far to scroll so that the content below `anchor` stays there when the scale changes. `offset…`: where the
// content begins in the window when nothing is scrolled, for it is centred when it is smaller than the window.
export function anchoredScroll(
  scroll: number,
  anchor: number,
  offsetBefore: number,
  offsetAfter: number,
  ratio: number,
): number {
  return (scroll + anchor - offsetBefore) * ratio + offsetAfter - anchor;
}
