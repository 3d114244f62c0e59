// The worker: talks to the service and draws, so that neither waits for the page.
import { inflatePixels } from './inflate.js';
import { Link } from './Link.js';
import { Pong, ServiceMessage } from './Messages.js';
import { Pacer } from './Pacer.js';
import { Painter } from './Painter.js';
import { drawnRecord } from './Records.js';
import { readUpdate } from './UpdateReader.js';
import { FromWorker, ToWorker } from './WorkerMessages.js';

const kTrafficMs = 1000;

function tell(message: FromWorker): void {
  self.postMessage(message);
}

class Session {
  private readonly painter: Painter;
  private readonly link: Link;
  private readonly pacer = new Pacer();
  // Counts changes of the link: what comes late belongs to a connection that is no more.
  private connection = 0;
  private updates = 0;
  private bytes = 0;
  private latency: number | null = null;

  constructor(canvas: OffscreenCanvas, address: string) {
    this.painter = new Painter(canvas);
    this.link = new Link(address, {
      onLinkState: (state) => {
        this.connection++;
        this.pacer.forget();
        this.latency = null;
        tell({ from: 'link', state });
        if (state.link === 'open') this.ping();
      },
      onText: (text) => this.takeText(text),
      onBinary: (message) => void this.takeUpdate(message),
    });
    this.link.open();
    setInterval(() => this.report(), kTrafficMs);
  }

  async take(message: ToWorker): Promise<void> {
    switch (message.to) {
      case 'send':
        this.link.send(JSON.stringify(message.message));
        break;
      case 'record':
        this.link.send(message.record as Uint8Array<ArrayBuffer>);
        break;
      case 'reconnect':
        this.link.reopen();
        break;
      case 'watch':
        this.pacer.setWatched(message.watched);
        break;
      case 'repeat':
        this.painter.repeat();
        break;
      case 'picture':
        tell({ from: 'picture', picture: await this.painter.takePicture(message.part).catch(() => null) });
        break;
      case 'start':
        break;
    }
  }

  private takeText(text: string): void {
    const message = JSON.parse(text) as ServiceMessage;
    if (message.type === 'pong') this.takePong(message);
    if (message.type === 'screen') this.painter.startScreen(message);
    tell({ from: 'message', message });
  }

  private async takeUpdate(message: ArrayBuffer): Promise<void> {
    this.updates++;
    this.bytes += message.byteLength;
    const { connection } = this;
    try {
      const update = readUpdate(message);
      const inflated =
        update.compressed === null
          ? new Uint16Array()
          : await inflatePixels(update.compressed, update.compressedPixels);
      if (connection !== this.connection) return;
      this.painter.draw(update, inflated);
      this.pacer.pass(() => this.link.send(drawnRecord(update.number) as Uint8Array<ArrayBuffer>));
    } catch (error) {
      // The picture is in doubt: a new connection brings all of it again.
      console.error(error);
      if (connection === this.connection) this.link.renew();
    }
  }

  private ping(): void {
    this.link.send(JSON.stringify({ type: 'ping', time: performance.now() }));
  }

  private takePong({ time }: Pong): void {
    this.latency = performance.now() - time;
  }

  private report(): void {
    tell({ from: 'traffic', traffic: { updates: this.updates, bytes: this.bytes, latency: this.latency } });
    this.updates = 0;
    this.bytes = 0;
    this.ping();
  }
}

let session: Session | null = null;

self.onmessage = ({ data }: MessageEvent<ToWorker>) => {
  if (data.to === 'start') session = new Session(data.canvas, data.address);
  else void session?.take(data);
};
