// Full screen, in which the browser's keyboard lock, where there is one, passes the system's own keys on too.

interface KeyboardLock {
  lock(): Promise<void>;
  unlock(): void;
}

export class FullScreen {
  // `changed` is called when full screen begins or ends, however that came about.
  constructor(changed: (on: boolean) => void) {
    document.addEventListener('fullscreenchange', () => {
      const { keyboard } = navigator as { keyboard?: KeyboardLock };
      if (FullScreen.isOn) void keyboard?.lock().catch(() => undefined);
      else keyboard?.unlock();
      changed(FullScreen.isOn);
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
    else void document.documentElement.requestFullscreen().catch(() => undefined);
  }
}
