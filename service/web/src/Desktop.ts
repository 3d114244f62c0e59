// The page's end of the worker, which holds the connection and the canvas.
import { PageMessage, Part } from './Messages.js';
import { FromWorker, ToWorker } from './WorkerMessages.js';

export class Desktop {
  private readonly worker = new Worker('/worker.js', { type: 'module' });
  private pictureWanted: ((picture: Blob | null) => void) | null = null;

  // `listener` is called later.
  constructor(canvas: HTMLCanvasElement, listener: (message: FromWorker) => void) {
    this.worker.onerror = () => listener({ from: 'link', state: { link: 'unsupported' } });
    if (!('transferControlToOffscreen' in canvas) || typeof DecompressionStream === 'undefined') {
      queueMicrotask(() => listener({ from: 'link', state: { link: 'unsupported' } }));
      return;
    }
    this.worker.onmessage = ({ data }: MessageEvent<FromWorker>) => {
      if (data.from === 'picture') this.pictureWanted?.(data.picture);
      else listener(data);
    };
    const address = new URL('/viewer', location.href);
    address.protocol = address.protocol === 'https:' ? 'wss:' : 'ws:';
    const offscreen = canvas.transferControlToOffscreen();
    this.tell({ to: 'start', canvas: offscreen, address: address.href }, [offscreen]);
  }

  send(message: PageMessage): void {
    this.tell({ to: 'send', message });
  }

  sendRecord(record: Uint8Array): void {
    this.tell({ to: 'record', record });
  }

  reconnect(): void {
    this.tell({ to: 'reconnect' });
  }

  // Whether anybody sees, or records, what is drawn.
  setWatched(watched: boolean): void {
    this.tell({ to: 'watch', watched });
  }

  // Shows the picture again, as a new one.
  repeatPicture(): void {
    this.tell({ to: 'repeat' });
  }

  // A PNG of a part of the screen; null when the browser could not make one.
  takePicture(part: Part): Promise<Blob | null> {
    return new Promise((resolve) => {
      this.pictureWanted = resolve;
      this.tell({ to: 'picture', part });
    });
  }

  private tell(message: ToWorker, transferred: Transferable[] = []): void {
    this.worker.postMessage(message, transferred);
  }
}
