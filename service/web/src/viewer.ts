// The page: what comes from the service goes to the parts that show it, and what the person does goes back.
import { Desktop } from './Desktop.js';
import { element, fileName, save } from './dom.js';
import { FullScreen } from './FullScreen.js';
import { Keyboard } from './Keyboard.js';
import { KeysMenu } from './KeysMenu.js';
import { Marker } from './Marker.js';
import { ServiceMessage } from './Messages.js';
import { Mouse } from './Mouse.js';
import { Notices } from './Notices.js';
import { Overlay, OverlayAction, overlayContent } from './Overlay.js';
import { PasteDialog } from './PasteDialog.js';
import { PointerOutput } from './PointerOutput.js';
import { Recorder } from './Recorder.js';
import { SessionModel } from './SessionModel.js';
import { Status } from './Status.js';
import { Toolbar } from './Toolbar.js';
import { Touch } from './Touch.js';
import { Typist } from './Typist.js';
import { View } from './View.js';
import { Wheel } from './Wheel.js';
import { FromWorker } from './WorkerMessages.js';

class Viewer {
  private readonly model = new SessionModel();
  private readonly canvas = element('canvas', HTMLCanvasElement);
  private readonly stage = element('stage', HTMLDivElement);
  private readonly viewport = element('viewport', HTMLElement);
  private readonly desktop = new Desktop(this.canvas, (message) => this.take(message));
  private readonly send = (record: Uint8Array) => this.desktop.sendRecord(record);

  private readonly typist = new Typist(this.send);
  private readonly pointer = new PointerOutput(this.send);
  private readonly keys = new KeysMenu(this.typist);
  private readonly keyboard = new Keyboard(
    element('field', HTMLTextAreaElement),
    this.typist,
    () => {
      if (!this.notices.focus()) this.toolbar.focus();
    },
    () => this.keys.forgetHeld(),
  );
  private readonly view = new View(this.viewport, this.stage, this.canvas, () => this.showZoom());
  private readonly wheel = new Wheel(this.viewport, this.view, this.typist);
  private readonly marker = new Marker(element('marker', HTMLDivElement), this.view);
  private readonly status = new Status();
  private readonly notices = new Notices(() => this.keyboard.focus());
  private readonly paste = new PasteDialog(this.typist);
  private readonly overlay = new Overlay((action) => this.act(action));
  private readonly recorder = new Recorder(
    this.canvas,
    () => this.desktop.repeatPicture(),
    (bytes) => this.showRecording(bytes),
    (recording) => this.saveRecording(recording),
  );
  private readonly fullScreen = new FullScreen((on, locks) => {
    document.body.classList.toggle('full-screen', on);
    this.toolbar.setHidden(on);
    if (on && !locks && this.model.acts && !matchMedia('(pointer: coarse)').matches)
      this.notices.say('This browser keeps Escape and some other keys. In the bar, Keys sends them.');
  });
  private wheelArrows = false;
  private readonly toolbar = new Toolbar({
    fit: () => this.view.fit(),
    actualSize: () => this.view.showActualSize(),
    zoomIn: () => this.view.step(1),
    zoomOut: () => this.view.step(-1),
    chooseMonitor: (id) => this.chooseMonitor(id),
    changeControl: () => this.desktop.send({ type: 'control', want: this.changeControl() }),
    showKeyboard: () => this.keyboard.focus(),
    paste: () => this.paste.open(),
    setWheelArrows: (on) => {
      this.wheelArrows = on;
      this.showRole();
    },
    setLock: (lock) =>
      this.desktop.send({ type: 'settings', lock, blank: this.model.control?.blank ?? false }),
    setBlank: (blank) =>
      this.desktop.send({ type: 'settings', lock: this.model.control?.lock ?? false, blank }),
    savePicture: () => void this.savePicture(),
    toggleRecording: () => this.toggleRecording(),
    refresh: () => this.desktop.send({ type: 'refresh' }),
    toggleFullScreen: () => this.fullScreen.toggle(),
    leave: () => this.keyboard.focus(),
  });

  constructor() {
    new Mouse(this.stage, this.view, this.pointer, () => this.keyboard.focus());
    new Touch(this.stage, this.view, this.pointer);
    document.addEventListener('visibilitychange', () => this.showWatched());
    this.showState();
    this.keyboard.focus();
  }

  private get computer(): string {
    return this.model.welcome?.computer ?? '';
  }

  // ---- from the worker

  private take(message: FromWorker): void {
    switch (message.from) {
      case 'link':
        this.model.setLink(message.state);
        this.toolbar.setConnected(message.state.link === 'open');
        this.notices.withdrawAll();
        this.showState();
        break;
      case 'message':
        this.model.take(message.message);
        this.takeMessage(message.message);
        break;
      case 'traffic':
        this.status.show(message.traffic);
        break;
    }
  }

  private takeMessage(message: ServiceMessage): void {
    switch (message.type) {
      case 'welcome':
        this.toolbar.setComputer(message.computer);
        if (this.model.chosenMonitor !== null) this.chooseMonitor(this.model.chosenMonitor);
        this.showRole();
        break;
      case 'permissions':
      case 'control':
        if (this.model.role !== 'controlling') this.notices.withdrawAll();
        this.showRole();
        break;
      case 'state':
        this.showState();
        break;
      case 'screen':
        if (this.model.monitor === null && this.model.chosenMonitor !== null) this.chooseMonitor(null);
        else this.showScreen();
        this.showState();
        break;
      case 'layout':
        this.typist.setLayout(message.layout);
        this.keyboard.setLayout(message.layout);
        break;
      case 'pointer':
        this.marker.show(message);
        break;
      case 'ask':
        this.notices.ask(
          `ask-${message.viewer}`,
          `A viewer at ${message.from} asks for control.`,
          'Hand over',
          'Keep control',
          (grant) => this.desktop.send({ type: 'answer', viewer: message.viewer, grant }),
        );
        break;
      case 'withdraw':
        this.notices.withdraw(`ask-${message.viewer}`);
        break;
      case 'answer':
        this.notices.say(
          message.text || (message.granted ? 'You have control.' : 'Control was not granted.'),
        );
        this.showRole();
        break;
    }
  }

  // ---- what is shown

  private showState(): void {
    const content = overlayContent(this.model.link, this.model.state, this.model.screen !== null);
    this.overlay.show(content);
    this.announce(content === null ? 'The desktop is shown.' : `${content.title}. ${content.lines.join(' ')}`);
    this.showRole();
  }

  private showRole(): void {
    const { role, acts, permissions, control } = this.model;
    this.toolbar.setRole(role);
    this.toolbar.setLock(permissions?.lock && role === 'controlling' ? (control?.lock ?? false) : null);
    this.toolbar.setBlank(permissions?.blank && role === 'controlling' ? (control?.blank ?? false) : null);
    this.keyboard.setActive(acts);
    this.pointer.setActive(acts);
    this.wheel.setArrows(acts && this.wheelArrows);
    if (!acts) {
      this.keys.forgetHeld();
      this.paste.cancel();
    }
  }

  private showScreen(): void {
    const { screen, part, chosenMonitor } = this.model;
    if (screen === null || part === null) return;
    this.toolbar.setMonitors(screen.monitors, chosenMonitor);
    this.view.show(screen, part);
  }

  private showZoom(): void {
    this.toolbar.setZoom(this.view.zoomMode, this.view.displayScale);
    this.marker.lay();
  }

  private showWatched(): void {
    this.desktop.setWatched(!document.hidden || this.recorder.isRecording);
  }

  private announce(text: string): void {
    const announcer = element('announcer', HTMLDivElement);
    if (announcer.textContent !== text) announcer.textContent = text;
  }

  // ---- what the person does

  private act(action: OverlayAction): void {
    if (action === 'retry') this.desktop.send({ type: 'retry' });
    if (action === 'reconnect') this.desktop.reconnect();
    if (action === 'sign-in') location.reload();
    this.keyboard.focus();
  }

  private changeControl(): boolean {
    const wants = this.model.changeControl();
    this.showRole();
    return wants;
  }

  private chooseMonitor(id: number | null): void {
    this.model.chosenMonitor = id;
    this.desktop.send({ type: 'monitor', id });
    this.showScreen();
  }

  private async savePicture(): Promise<void> {
    const { part } = this.model;
    const picture = part === null ? null : await this.desktop.takePicture(part);
    if (picture === null) this.notices.say('There is no picture to save.');
    else save(picture, fileName(this.computer, 'png'));
  }

  private toggleRecording(): void {
    if (this.recorder.isRecording) this.recorder.stop();
    else this.recorder.start();
    this.showRecording(0);
    this.showWatched();
  }

  private showRecording(bytes: number): void {
    this.toolbar.setRecording(this.recorder.isRecording ? bytes : null);
  }

  private saveRecording(recording: Blob): void {
    if (recording.size === 0) this.notices.say('There was no picture to record.');
    else save(recording, fileName(this.computer, 'webm'));
  }
}

new Viewer();
