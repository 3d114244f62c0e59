// A desktop of a test's own: an X server, programs on it, and kvremote with everything it needs in a folder of its own.
import assert from 'node:assert/strict';
import { ChildProcess, spawn, spawnSync } from 'node:child_process';
import { cpSync, mkdirSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { createInterface } from 'node:readline';
import { Readable } from 'node:stream';

const kDeadlineMs = 30_000;
const kPrograms = ['kvdrawn', 'kvobserve.app', 'kvprefs', 'kvremote'];

// Returns when `condition` holds; fails with `what` when it does not in time. An exception counts as "not yet".
export async function waitFor(what: string, condition: () => unknown): Promise<void> {
  const deadline = Date.now() + kDeadlineMs;
  let last: unknown = null;
  while (Date.now() < deadline) {
    try {
      if (await condition()) return;
      last = null;
    } catch (error) {
      last = error;
    }
    await new Promise((resolve) => setTimeout(resolve, 20));
  }
  assert.fail(`in time: ${what}${last === null ? '' : `\n${last}`}`);
}

export interface Picture {
  width: number;
  height: number;
  // Rows from the top: red, green, blue in bits 10 to 14, 5 to 9, 0 to 4.
  pixels: Uint16Array;
}

export class Desktop {
  private readonly folder = mkdtempSync(join(tmpdir(), 'page-'));
  private readonly root = join(this.folder, 'root');
  private readonly environment: NodeJS.ProcessEnv;
  private readonly children: ChildProcess[] = [];
  private service: ChildProcess | null = null;
  private server!: ChildProcess;

  private constructor() {
    mkdirSync(join(this.folder, 'tmp'));
    for (const program of kPrograms)
      cpSync(join(process.env.PROGRAMS!, program), join(this.root, 'bin', program), { recursive: true });
    this.environment = {
      PATH: process.env.PATH,
      LSAN_OPTIONS: process.env.LSAN_OPTIONS,
      TSAN_OPTIONS: process.env.TSAN_OPTIONS,
      HOME: this.folder,
      LC_ALL: 'C.UTF-8',
      TMPDIR: join(this.folder, 'tmp'),
      KORVANE_PREFERENCES_DIR: join(this.folder, 'preferences'),
      KORVANE_PORTS_DIR: join(this.folder, 'ports'),
    };
  }

  // With an X server of that layout and size; kvremote is started by startService().
  static async start(layout = 'us', size = '800x600'): Promise<Desktop> {
    const desktop = new Desktop();
    try {
      await desktop.startServer(size);
      desktop.run('setxkbmap', layout);
    } catch (error) {
      await desktop.end();
      throw error;
    }
    return desktop;
  }

  // Returns the address that it prints.
  async startService(...options: string[]): Promise<string> {
    const service = this.spawn(join(this.root, 'bin/kvremote'), ...options);
    this.service = service;
    for await (const line of createInterface(service.stdout!)) return line;
    throw new Error('kvremote printed no address');
  }

  async killService(): Promise<void> {
    await kill(this.service!);
  }

  async killServer(): Promise<void> {
    await kill(this.server);
  }

  get display(): string {
    return this.environment.DISPLAY!;
  }

  get serverProcess(): number {
    return this.server.pid!;
  }

  get serviceProcess(): number {
    return this.service!.pid!;
  }

  // The number of the observer that runs; throws when none does.
  observer(): number {
    const user = spawnSync('id', ['-un'], { encoding: 'utf8' }).stdout.trim();
    for (const owner of [user, 'loginwindow']) {
      try {
        return Number(readFileSync(join(this.root, 'data/pids', owner, 'kvobserve.pid'), 'utf8'));
      } catch {
        continue;
      }
    }
    throw new Error('no observer runs');
  }

  // Puts a program beside the service; it is run with `words` behind its own.
  install(program: string, ...words: string[]): void {
    const command = [join(process.env.PROGRAMS!, program), '"$@"', ...words].join(' ');
    writeFileSync(join(this.root, 'bin', program), `#!/bin/sh\nexec ${command}\n`, { mode: 0o755 });
  }

  setPreference(name: string, value: string): void {
    this.run(join(this.root, 'bin/kvprefs'), 'remote', name, value);
  }

  // Runs a program to its end.
  run(command: string, ...words: string[]): Buffer {
    const { status, stdout, stderr } = spawnSync(command, words, {
      env: this.environment,
      maxBuffer: 1 << 28,
    });
    assert.equal(status, 0, `${command} ${words.join(' ')}: ${stderr}`);
    return stdout;
  }

  // Starts a program; what it writes is gathered.
  start(command: string, ...words: string[]): { output: string } {
    const gathered = { output: '' };
    const child = this.spawn(command, ...words);
    child.stdout!.setEncoding('utf8').on('data', (text: string) => (gathered.output += text));
    return gathered;
  }

  // A terminal that covers the screen, in which what is typed becomes the output. Returns when it shows.
  async startTerminal(): Promise<{ text(): string }> {
    const file = join(this.folder, 'typed');
    this.spawn('xterm', '-u8', '-geometry', '300x100+0+0', '-e', `stty raw -echo; exec cat >${file}`);
    await waitFor('the terminal', () => readFileSync(file) !== null);
    return { text: () => readFileSync(file, 'utf8') };
  }

  // What the X server shows.
  picture(): Picture {
    const dump = this.run('xwd', '-root', '-silent');
    const field = (index: number) => dump.readUInt32BE(index * 4);
    const [headBytes, width, height, stride, colours] = [field(0), field(4), field(5), field(12), field(19)];
    assert.equal(field(11), 32, 'bits of a pixel');
    const pixels = new Uint16Array(width * height);
    for (let y = 0; y < height; y++)
      for (let x = 0; x < width; x++) {
        const at = headBytes + colours * 12 + y * stride + x * 4;
        pixels[y * width + x] = pixel(dump[at + 2]!, dump[at + 1]!, dump[at]!);
      }
    return { width, height, pixels };
  }

  async end(): Promise<void> {
    for (const child of this.children.reverse())
      await kill(child, child === this.service ? 'SIGTERM' : 'SIGKILL');
    // An observer that has just lost its display may still write its last lines.
    await waitFor(
      'the end of the folder',
      () => (rmSync(this.folder, { recursive: true, force: true }), true),
    );
  }

  private async startServer(size: string): Promise<void> {
    const words = ['-displayfd', '3', '-screen', '0', `${size}x24`, '-nolisten', 'tcp', '-noreset'];
    this.server = spawn('Xvfb', words, { stdio: ['ignore', 'ignore', 'ignore', 'pipe'] });
    this.children.push(this.server);
    for await (const line of createInterface(this.server.stdio[3] as Readable)) {
      this.environment.DISPLAY = `:${line}`;
      return;
    }
    throw new Error('Xvfb did not start');
  }

  private spawn(command: string, ...words: string[]): ChildProcess {
    const child = spawn(command, words, { env: this.environment, stdio: ['ignore', 'pipe', 'inherit'] });
    this.children.push(child);
    return child;
  }
}

export function pixel(red: number, green: number, blue: number): number {
  return ((red >> 3) << 10) | ((green >> 3) << 5) | (blue >> 3);
}

async function kill(child: ChildProcess, signal: NodeJS.Signals = 'SIGKILL'): Promise<void> {
  if (child.exitCode !== null || child.signalCode !== null) return;
  const ended = new Promise((resolve) => child.once('exit', resolve));
  child.kill(signal);
  await ended;
}
