// The WebSocket to the service: opens it, and opens it again after a growing delay when it is lost.
import { LinkState } from './WorkerMessages.js';

const kSubprotocol = 'kvremote.1';
const kFirstDelayMs = 250;
const kLongestDelayMs = 10_000;
const kAskMs = 5000;
// A connection that was open for so long was a good one: the delays begin anew.
const kGoodMs = 5000;
// After so many failures in a row only a person starts the next attempt: about two minutes.
const kMostAttempts = 16;
// What the service ends a connection with that it would end again.
const kRefusals = [1008, 1009, 1013];

export interface LinkListener {
  onLinkState(state: LinkState): void;
  onText(text: string): void;
  onBinary(message: ArrayBuffer): void;
}

export function retryDelay(attempt: number): number {
  return Math.min(kFirstDelayMs * 2 ** attempt, kLongestDelayMs);
}

export class Link {
  private socket: WebSocket | null = null;
  private attempts = 0;
  private opened = Infinity;
  private timer = 0;

  // `address`: of the service's WebSocket.
  constructor(
    private readonly address: string,
    private readonly listener: LinkListener,
  ) {}

  open(): void {
    clearTimeout(this.timer);
    this.drop();
    const socket = new WebSocket(this.address, kSubprotocol);
    socket.binaryType = 'arraybuffer';
    socket.onopen = () => {
      this.opened = performance.now();
      this.listener.onLinkState({ link: 'open' });
    };
    socket.onmessage = ({ data }: MessageEvent<string | ArrayBuffer>) => {
      if (typeof data === 'string') this.listener.onText(data);
      else this.listener.onBinary(data);
    };
    socket.onclose = (event) => this.onClose(event);
    this.socket = socket;
  }

  // Starts anew at once, also after the last attempt.
  reopen(): void {
    this.attempts = 0;
    this.listener.onLinkState({ link: 'connecting' });
    this.open();
  }

  // Gives this connection up, and opens another like after any loss.
  renew(): void {
    this.drop();
    void this.openLater();
  }

  // Dropped silently when there is no connection: the service lets go of everything by itself then.
  send(message: string | Uint8Array<ArrayBuffer>): void {
    if (this.socket?.readyState === WebSocket.OPEN) this.socket.send(message);
  }

  private drop(): void {
    if (this.socket === null) return;
    this.socket.onopen = this.socket.onmessage = this.socket.onclose = null;
    this.socket.close();
    this.socket = null;
  }

  private onClose(event: CloseEvent): void {
    this.socket = null;
    if (kRefusals.includes(event.code)) this.listener.onLinkState({ link: 'closed', reason: event.reason });
    else void this.openLater();
  }

  private async openLater(): Promise<void> {
    if (performance.now() - this.opened > kGoodMs) this.attempts = 0;
    this.opened = Infinity;
    const delay = retryDelay(this.attempts++);
    this.listener.onLinkState({ link: 'lost', delay });
    const signedOut = await this.isSignedOut();
    if (this.socket !== null) return;
    if (signedOut) this.listener.onLinkState({ link: 'signed-out' });
    else if (this.attempts >= kMostAttempts) this.listener.onLinkState({ link: 'unreachable' });
    else this.timer = setTimeout(() => this.open(), delay);
  }

  // A browser does not tell why a WebSocket was refused, but a plain request does.
  private async isSignedOut(): Promise<boolean> {
    try {
      return (await fetch('/', { cache: 'no-store', signal: AbortSignal.timeout(kAskMs) })).status === 401;
    } catch {
      return false;
    }
  }
}
