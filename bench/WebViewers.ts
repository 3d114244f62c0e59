// How long from a change on the screen to the page that shows it, how much processor time does that take, and how many
// bytes, beside Debian's VNC servers with their WebSocket bridge and page?
import { ChildProcess, execFileSync, spawn, spawnSync } from 'node:child_process';
import { readdirSync, readFileSync } from 'node:fs';
import { AddressInfo, createServer } from 'node:net';
import { join } from 'node:path';
import { createInterface, Interface } from 'node:readline';
import { Readable } from 'node:stream';
import { setTimeout } from 'node:timers/promises';
import { Browser, chromium, Page, Worker } from 'playwright-core';
import { Desktop, waitFor } from '../tests/service/web/Desktop.js';

const kSize = { width: 1920, height: 1080 };
const kWindow = { width: 1960, height: 1200 };
const kDefaultRounds = 9;
const kWarmUpMs = 500;
const kSettleMs = 250;
// JPEG and 16-bit pixels change a colour by less.
const kNearColour = 10;

interface Load {
  name: string;
  // What paint_to_order knows it by.
  paint: string;
  periodMs: number;
  count: number;
  // A pixel that has the colour of the last change.
  at: [x: number, y: number];
}

const kLoads: Load[] = [
  { name: 'a square of 64 x 64, once a second', paint: 'square', periodMs: 1000, count: 3, at: [330, 330] },
  { name: 'a square of 64 x 64, 20 times a second', paint: 'square', periodMs: 50, count: 30, at: [330, 330] },
  { name: 'a scrolling window of 800 x 600, 20 times a second', paint: 'scroll', periodMs: 50, count: 30, at: [600, 742] },
  { name: 'full-screen video, 30 times a second', paint: 'video', periodMs: 33.3, count: 45, at: [0, 540] },
  { name: 'full-screen video, 60 times a second', paint: 'video', periodMs: 16.7, count: 90, at: [0, 540] },
  { name: 'a full-screen film, 30 times a second', paint: 'film', periodMs: 33.3, count: 45, at: [32, 32] },
];

// ---- the contenders

interface Contender {
  name: string;
  display: string;
  // Of the WebSocket server.
  port: number;
  // The processes between the X server and the browser.
  processes: () => number[];
  // The X server; null when it is one of them.
  server: number | null;
  open: (page: Page) => Promise<void>;
}

const children: ChildProcess[] = [];

function start(environment: Record<string, string>, command: string, ...words: string[]): ChildProcess {
  const child = spawn(command, words, {
    env: { ...process.env, ...environment },
    stdio: ['pipe', 'pipe', 'ignore', 'pipe'],
  });
  children.push(child);
  return child;
}

// What an X server prints where -displayfd says.
async function displayOf(server: ChildProcess): Promise<string> {
  for await (const line of createInterface(server.stdio[3] as Readable)) return `:${line}`;
  throw new Error('an X server did not start');
}

async function freePort(): Promise<number> {
  const listener = createServer();
  await new Promise<void>((resolve) => listener.listen(0, '127.0.0.1', resolve));
  const { port } = listener.address() as AddressInfo;
  await new Promise((resolve) => listener.close(resolve));
  return port;
}

function isListening(port: number): boolean {
  return execFileSync('ss', ['-tlnH', `sport = :${port}`]).length > 0;
}

async function startOurs(desktop: Desktop): Promise<Contender> {
  const address = await desktop.startService();
  return {
    name: 'kvremote',
    display: desktop.display,
    port: Number(new URL(address).port),
    processes: () => [desktop.serviceProcess, desktop.observer()],
    server: desktop.serverProcess,
    open: async (page) => {
      await page.goto(address);
      await page.locator('#overlay:not(.shown)').waitFor({ state: 'attached' });
      await page.click('#actual');
    },
  };
}

async function startBridge(vncPort: number): Promise<Pick<Contender, 'port' | 'open'> & { bridge: number }> {
  await waitFor('the VNC server', () => isListening(vncPort));
  const port = await freePort();
  const bridge = start({}, 'websockify', '--web', '/usr/share/novnc', `127.0.0.1:${port}`, `127.0.0.1:${vncPort}`);
  await waitFor('the bridge', () => isListening(port));
  return {
    port,
    bridge: bridge.pid!,
    open: async (page) => {
      await page.goto(`http://127.0.0.1:${port}/vnc_lite.html`);
      await page.locator('#status', { hasText: 'Connected' }).waitFor();
    },
  };
}

const kVncOptions = ['-SecurityTypes', 'None', '-localhost', '-rfbport'];

// Looks on at an X server from outside, as we do.
async function startScrapingServer(): Promise<Contender> {
  const geometry = `${kSize.width}x${kSize.height}x24`;
  const server = start({}, 'Xvfb', '-displayfd', '3', '-screen', '0', geometry, '-nolisten', 'tcp', '-noreset');
  const display = await displayOf(server);
  const vncPort = await freePort();
  const vnc = start({ DISPLAY: display }, 'X0tigervnc', ...kVncOptions, String(vncPort));
  const { bridge, ...rest } = await startBridge(vncPort);
  return { name: 'X0tigervnc', display, processes: () => [vnc.pid!, bridge], server: server.pid!, ...rest };
}

// An X server that is a VNC server, too.
async function startVncServer(): Promise<Contender> {
  const geometry = `${kSize.width}x${kSize.height}`;
  const vncPort = await freePort();
  const vnc = start({}, 'Xtigervnc', '-displayfd', '3', '-geometry', geometry, '-depth', '24', '-nolisten', 'tcp',
    '-noreset', ...kVncOptions, String(vncPort));
  const display = await displayOf(vnc);
  const { bridge, ...rest } = await startBridge(vncPort);
  return { name: 'Xtigervnc', display, processes: () => [vnc.pid!, bridge], server: null, ...rest };
}

// ---- painting

interface Change {
  time: number;
  colour: number;
}

class Painter {
  private readonly child: ChildProcess;
  private readonly lines: AsyncIterator<string>;
  private readonly reader: Interface;

  constructor(display: string) {
    this.child = start({ DISPLAY: display }, join(process.env.PROGRAMS!, 'paint_to_order'));
    this.reader = createInterface(this.child.stdout!);
    this.lines = this.reader[Symbol.asyncIterator]();
  }

  // What it has painted; times in milliseconds of the real-time clock.
  async paint({ paint, periodMs }: Load, count: number): Promise<Change[]> {
    this.child.stdin!.write(`${paint} ${periodMs} ${count}\n`);
    const changes: Change[] = [];
    for (;;) {
      const { value, done } = await this.lines.next();
      if (done) throw new Error('the painter has ended');
      if (value === 'end') return changes;
      const [time, colour] = value.split(' ');
      changes.push({ time: Number(time), colour: parseInt(colour!, 16) });
    }
  }
}

// ---- looking

interface Watcher {
  at: [number, number];
  seen: Change[];
}

// The thread that draws, which is the page's own or its worker.
type Drawer = Pick<Worker, 'evaluate'>;

// In the drawing thread: notes at every frame of the browser which colour a pixel of the canvas has, when it is another
// one. Looked at from elsewhere, the canvas of a worker would be copied whole for each frame.
function watch(): void {
  type Context = CanvasRenderingContext2D | OffscreenCanvasRenderingContext2D;
  const watcher: Watcher = { at: [0, 0], seen: [] };
  let context: Context | null = null;
  if ('document' in self) {
    context = document.querySelector('canvas')!.getContext('2d')!;
  } else {
    const { prototype } = OffscreenCanvasRenderingContext2D;
    const put = prototype.putImageData as (...words: unknown[]) => void;
    prototype.putImageData = function (this: Context, ...words: unknown[]) {
      context = this;
      put.apply(this, words);
    };
  }
  let last = -1;
  const look = () => {
    requestAnimationFrame(look);
    if (context === null) return;
    const time = performance.timeOrigin + performance.now();
    const [red, green, blue] = context.getImageData(...watcher.at, 1, 1).data as unknown as [number, number, number];
    const colour = (red << 16) | (green << 8) | blue;
    if (colour !== last) watcher.seen.push({ time, colour });
    last = colour;
  };
  look();
  Object.assign(self, { watcher });
}

async function aim(drawer: Drawer, at: [number, number]): Promise<void> {
  await drawer.evaluate((at) => {
    const { watcher } = self as unknown as { watcher: Watcher };
    watcher.at = at;
    watcher.seen = [];
  }, at);
}

function seen(drawer: Drawer): Promise<Change[]> {
  return drawer.evaluate(() => (self as unknown as { watcher: Watcher }).watcher.seen);
}

function isNear(one: number, other: number): boolean {
  return [16, 8, 0].every((shift) => Math.abs(((one >> shift) & 255) - ((other >> shift) & 255)) <= kNearColour);
}

// Milliseconds of each change that was shown before the next one took its place.
function latencies(painted: Change[], shown: Change[]): number[] {
  const found: number[] = [];
  let next = 0;
  for (const { time, colour } of shown) {
    const index = painted.findIndex((change, i) => i >= next && change.time < time && isNear(change.colour, colour));
    if (index < 0) continue;
    found.push(time - painted[index]!.time);
    next = index + 1;
  }
  return found;
}

// ---- counting

// Milliseconds that all threads of each of these processes have run; none for what has ended, as helpers of a browser do.
function processorTimes(processes: number[]): Map<number, number> {
  const times = new Map<number, number>();
  for (const process of processes) {
    try {
      let nanoseconds = 0;
      for (const thread of readdirSync(`/proc/${process}/task`))
        nanoseconds += Number(readFileSync(`/proc/${process}/task/${thread}/schedstat`, 'utf8').split(' ')[0]);
      times.set(process, nanoseconds / 1e6);
    } catch {
      continue;
    }
  }
  return times;
}

// Of what was counted both times, or is new.
function growth<Key>(before: Map<Key, number>, after: Map<Key, number>): number {
  let sum = 0;
  for (const [key, count] of after) sum += count - (before.get(key) ?? 0);
  return sum;
}

function withDescendants(roots: number[]): number[] {
  const parents = new Map<number, number>();
  for (const name of readdirSync('/proc')) {
    if (!/^\d+$/.test(name)) continue;
    try {
      const stat = readFileSync(`/proc/${name}/stat`, 'utf8');
      parents.set(Number(name), Number(stat.slice(stat.lastIndexOf(')') + 2).split(' ')[1]));
    } catch {
      continue;
    }
  }
  const all = [...roots];
  for (const process of all) for (const [child, parent] of parents) if (parent === process) all.push(child);
  return all;
}

// Bytes that the server has sent over each connection, by the browser's port.
function bytesSent(port: number): Map<string, number> {
  const lines = execFileSync('ss', ['-tinHO', 'state', 'established', `sport = :${port}`], { encoding: 'utf8' });
  const sent = new Map<string, number>();
  for (const line of lines.split('\n')) {
    const words = line.trim().split(/\s+/);
    const bytes = /bytes_sent:(\d+)/.exec(line);
    if (bytes !== null) sent.set(words[3]!, Number(bytes[1]));
  }
  return sent;
}

// ---- rounds

interface Result {
  latencies: number[];
  shownPerSecond: number;
  // Percent of a core.
  service: number;
  server: number;
  browser: number;
  bytesPerSecond: number;
}

async function measure(
  contender: Contender,
  painter: Painter,
  drawer: Drawer,
  browser: number[],
  load: Load,
): Promise<Result> {
  await painter.paint(load, Math.max(1, Math.round(kWarmUpMs / load.periodMs)));
  await setTimeout(kSettleMs);
  await aim(drawer, load.at);
  const service = withDescendants(contender.processes());
  const server = contender.server === null ? [] : [contender.server];
  const look = () => ({
    time: performance.now(),
    service: processorTimes(service),
    server: processorTimes(server),
    browser: processorTimes(browser),
    bytes: bytesSent(contender.port),
  });
  const before = look();
  const painted = await painter.paint(load, load.count);
  const after = look();
  await setTimeout(kSettleMs);
  const found = latencies(painted, await seen(drawer));
  const seconds = (after.time - before.time) / 1000;
  return {
    latencies: found,
    shownPerSecond: found.length / seconds,
    service: growth(before.service, after.service) / seconds / 10,
    server: growth(before.server, after.server) / seconds / 10,
    browser: growth(before.browser, after.browser) / seconds / 10,
    bytesPerSecond: growth(before.bytes, after.bytes) / seconds,
  };
}

// One contender's turn: a page of its own, all loads.
async function takeTurn(contender: Contender, painter: Painter, browser: Browser): Promise<Result[]> {
  const context = await browser.newContext({ viewport: kWindow });
  try {
    const page = await context.newPage();
    await contender.open(page);
    await page.locator(`canvas[width="${kSize.width}"]`).waitFor();
    const drawer: Drawer = page.workers()[0] ?? (page as Drawer);
    await drawer.evaluate(watch);
    const processes = withDescendants([process.pid]).filter(isBrowser);
    const results = [];
    for (const load of kLoads) results.push(await measure(contender, painter, drawer, processes, load));
    return results;
  } finally {
    await context.close();
  }
}

function isBrowser(process: number): boolean {
  try {
    return readFileSync(`/proc/${process}/comm`, 'utf8').startsWith('chrom');
  } catch {
    return false;
  }
}

// ---- printing

function quantile(values: number[], part: number): number {
  const sorted = [...values].sort((one, other) => one - other);
  return sorted.length === 0 ? NaN : sorted[Math.min(sorted.length - 1, Math.floor(sorted.length * part))]!;
}

const kColumns: { name: string; unit: string; digits: number; of: (result: Result) => number }[] = [
  { name: 'latency', unit: 'ms', digits: 1, of: (result) => quantile(result.latencies, 0.5) },
  { name: 'latency of the slowest tenth', unit: 'ms', digits: 1, of: (result) => quantile(result.latencies, 0.9) },
  { name: 'changes shown', unit: '/s', digits: 1, of: (result) => result.shownPerSecond },
  { name: 'service side', unit: '% of a core', digits: 2, of: (result) => result.service },
  { name: 'and X server', unit: '% of a core', digits: 2, of: (result) => result.service + result.server },
  { name: 'browser', unit: '% of a core', digits: 1, of: (result) => result.browser },
  { name: 'sent', unit: 'kB/s', digits: 1, of: (result) => result.bytesPerSecond / 1000 },
];

// `rounds`: of each contender, of each of its rounds, of each load.
function print(contenders: Contender[], rounds: Result[][][]): void {
  kLoads.forEach((load, index) => {
    console.log(`\n${load.name}: median of ${rounds[0]!.length} rounds (lowest to highest)`);
    for (const { name, unit, digits, of } of kColumns) {
      const medians = rounds.map((turns) => quantile(turns.map((turn) => of(turn[index]!)), 0.5));
      const words = contenders.map((contender, i) => {
        const values = rounds[i]!.map((turn) => of(turn[index]!));
        const figures = [medians[i]!, Math.min(...values), Math.max(...values)].map((value) => value.toFixed(digits));
        const ratio = i === 0 ? '' : ` ratio ${(medians[0]! / medians[i]!).toFixed(2)}`;
        return `${contender.name} ${figures[0]} (${figures[1]} to ${figures[2]})${ratio}`;
      });
      console.log(`  ${`${name}, ${unit}`.padEnd(34)} ${words.join('; ')}`);
    }
  });
}

function requirePrograms(): void {
  for (const program of ['X0tigervnc', 'Xtigervnc', 'Xvfb', 'ss', 'websockify'])
    if (spawnSync('sh', ['-c', `command -v ${program}`]).status !== 0)
      throw new Error(`${program} is missing: scripts/packages.txt names its package`);
}

async function main(): Promise<void> {
  requirePrograms();
  const roundCount = Number(process.argv[2] ?? kDefaultRounds);
  const desktop = await Desktop.start('us', `${kSize.width}x${kSize.height}`);
  const browser = await chromium.launch({ executablePath: process.env.CHROMIUM! });
  try {
    const contenders = [await startOurs(desktop), await startScrapingServer(), await startVncServer()];
    const painters = contenders.map(({ display }) => new Painter(display));
    const rounds: Result[][][] = contenders.map(() => []);
    for (let round = 0; round < roundCount; round++)
      for (let turn = 0; turn < contenders.length; turn++) {
        const i = (round + turn) % contenders.length;
        rounds[i]!.push(await takeTurn(contenders[i]!, painters[i]!, browser));
      }
    print(contenders, rounds);
  } finally {
    await browser.close();
    await desktop.end();
    for (const child of children) child.kill();
  }
}

await main();
