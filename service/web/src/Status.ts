// How the connection does, in numbers that keep their places.
import { element } from './dom.js';
import { Traffic } from './WorkerMessages.js';

// Bytes for people: "640 kB".
export function sizeText(bytes: number): string {
  return bytes < 1e6 ? `${Math.round(bytes / 1e3)} kB` : `${(bytes / 1e6).toFixed(1)} MB`;
}

function latencyText(milliseconds: number | null): string {
  if (milliseconds === null) return '–';
  return milliseconds < 1 ? '< 1 ms' : `${Math.round(milliseconds)} ms`;
}

export class Status {
  private readonly latency = element('latency', HTMLElement);
  private readonly updates = element('updates', HTMLElement);
  private readonly bandwidth = element('bandwidth', HTMLElement);

  show(traffic: Traffic): void {
    this.latency.textContent = latencyText(traffic.latency);
    this.updates.textContent = `${traffic.updates}/s`;
    this.bandwidth.textContent = `${sizeText(traffic.bytes)}/s`;
  }
}
