// Full screen, in which the browser's keyboard lock, where there is one, passes the system's own keys on too.

// Chromium's.
interface KeyboardLock {
  lock(): Promise<void>;
  unlock(): void;
}

// Firefox's.
interface LockingOptions extends FullscreenOptions {
  readonly keyboardLock: 'browser';
}

export class FullScreen {
  private hasLock = 'keyboard' in navigator;

  // `changed` is called when full screen begins or ends, however that came about; `locks` says whether the browser
  // has a keyboard lock.
  constructor(changed: (on: boolean, locks: boolean) => void) {
    document.addEventListener('fullscreenchange', () => {
      const { keyboard } = navigator as { keyboard?: KeyboardLock };
      if (FullScreen.isOn) void keyboard?.lock().catch(() => undefined);
      else keyboard?.unlock();
      changed(FullScreen.isOn, this.hasLock);
    });
  }

  static get isSupported(): boolean {
    return document.fullscreenEnabled;
  }

  static get isOn(): boolean {
    return document.fullscreenElement !== null;
  }

  toggle(): void {
    if (FullScreen.isOn) void document.exitFullscreen();
    else void document.documentElement.requestFullscreen(this.options()).catch(() => undefined);
  }

  private options(): LockingOptions {
    const found = () => (this.hasLock = true);
    return {
      // Only a browser that has such a lock reads it.
      get keyboardLock() {
        found();
        return 'browser' as const;
      },
    };
  }
}
