// What the page and its worker tell each other.
import { PageMessage, Part, ServiceMessage } from './Messages.js';

export type LinkState =
  | { link: 'connecting' }
  | { link: 'open' }
  // Tries again by itself after `delay` ms.
  | { link: 'lost'; delay: number }
  // Does not try again by itself.
  | { link: 'unreachable' }
  | { link: 'signed-out' }
  | { link: 'closed'; reason: string }
  // The browser lacks what the page needs.
  | { link: 'unsupported' };

export interface Traffic {
  // Of the last second.
  updates: number;
  bytes: number;
  // Milliseconds to the service and back; null until it is known.
  latency: number | null;
}

export type ToWorker =
  | { to: 'start'; canvas: OffscreenCanvas; address: string }
  | { to: 'send'; message: PageMessage }
  | { to: 'record'; record: Uint8Array }
  | { to: 'reconnect' }
  // Whether anybody sees, or records, what is drawn.
  | { to: 'watch'; watched: boolean }
  | { to: 'repeat' }
  | { to: 'picture'; part: Part };

export type FromWorker =
  | { from: 'link'; state: LinkState }
  | { from: 'message'; message: ServiceMessage }
  | { from: 'traffic'; traffic: Traffic }
  | { from: 'picture'; picture: Blob | null };
