// How the connection does, in numbers that keep their places.
import { element } from './dom.js';
import { Traffic } from './WorkerMessages.js';

// Bytes for people: "640 kB".
export function sizeText(bytes: number): string {
  return bytes < 1e6 ? `${Math.round(bytes / 1e3)} kB` : `${(bytes / 1e6).toFixed(1)} MB`;
}

function latencyText(milliseconds: number | null): string {
  if (milliseconds === null) return '–';
  if (milliseconds < 1) return '< 1 ms';
  return milliseconds < 999.5 ? `${Math.round(milliseconds)} ms` : `${(milliseconds / 1000).toFixed(1)} s`;
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
