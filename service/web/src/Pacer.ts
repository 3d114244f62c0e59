// Holds the answer to an update back when the next one could not be seen any sooner: the display shows so many
// pictures a second and no more, and a page that nobody looks at shows none.

const kShortestGapMs = 8;

export class Pacer {
  private watched = true;
  private last = -Infinity;
  private waiting: (() => void) | null = null;
  private timer = 0;

  setWatched(watched: boolean): void {
    this.watched = watched;
    this.schedule();
  }

  // Calls `answer` now or later; one is under way at a time.
  pass(answer: () => void): void {
    this.waiting = answer;
    this.schedule();
  }

  // What waits belongs to a connection that is no more.
  forget(): void {
    this.waiting = null;
  }

  private schedule(): void {
    clearTimeout(this.timer);
    if (this.waiting === null || !this.watched) return;
    const wait = this.last + kShortestGapMs - performance.now();
    if (wait > 0) {
      this.timer = setTimeout(() => this.schedule(), wait);
      return;
    }
    this.last = performance.now();
    const answer = this.waiting;
    this.waiting = null;
    answer();
  }
}
