// The arithmetic of the view.
import assert from 'node:assert/strict';
import test from 'node:test';
import { anchoredScroll, fitScale, nextStep } from '../../../service/web/src/Zoom.js';

test('what fits touches the nearer edges', () => {
  assert.equal(fitScale({ width: 2000, height: 1000 }, { width: 1000, height: 1000 }), 0.5);
  assert.equal(fitScale({ width: 1000, height: 2000 }, { width: 1000, height: 1000 }), 0.5);
  assert.equal(fitScale({ width: 0, height: 0 }, { width: 1000, height: 1000 }), 1);
});

test('steps go on from any scale, and end', () => {
  assert.equal(nextStep(0.95, 1), 1);
  assert.equal(nextStep(0.95, -1), 0.9);
  assert.equal(nextStep(1.0001, 1), 1.25);
  assert.equal(nextStep(8, 1), 8);
  assert.equal(nextStep(0.1, -1), 0.1);
});

test('the point below the pointer stays', () => {
  // Content of 400 pixels centred in 1000 grows to 2000; what was at 500, its middle, is still there.
  assert.equal(anchoredScroll(0, 500, 300, 0, 5), 500);
  // Scrolled by 100 at double size: the point at 50 shows content 150, at four times the size 300.
  assert.equal(anchoredScroll(100, 50, 0, 0, 2), 250);
});
