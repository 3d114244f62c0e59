// Records what the canvas shows, by the browser's own recorder.
import { withDuration } from './WebmFile.js';

const kPicturesPerSecond = 30;
// The recorder takes a picture when the canvas changes; a desktop at rest has a beginning and an end, too.
const kRepeatMs = 200;
const kTypes = ['video/webm;codecs=vp9', 'video/webm;codecs=vp8', 'video/webm'];

export class Recorder {
  private recorder: MediaRecorder | null = null;

  // `repeat` lets the canvas show its picture again. `grown` is called with the bytes of the recording so far,
  // `finished` with all of it when it has ended; it is empty when there was no picture to record.
  constructor(
    private readonly canvas: HTMLCanvasElement,
    private readonly repeat: () => void,
    private readonly grown: (bytes: number) => void,
    private readonly finished: (recording: Blob) => void,
  ) {}

  static get isSupported(): boolean {
    return (
      typeof MediaRecorder !== 'undefined' &&
      'captureStream' in HTMLCanvasElement.prototype &&
      kTypes.some((type) => MediaRecorder.isTypeSupported(type))
    );
  }

  get isRecording(): boolean {
    return this.recorder !== null;
  }

  start(): void {
    const mimeType = kTypes.find((type) => MediaRecorder.isTypeSupported(type))!;
    const stream = this.canvas.captureStream(kPicturesPerSecond);
    const recorder = new MediaRecorder(stream, { mimeType });
    // Of this recording alone: its last piece comes after stop(), when the next one may have begun.
    const pieces: Blob[] = [];
    let size = 0;
    recorder.ondataavailable = ({ data }) => {
      pieces.push(data);
      size += data.size;
      if (this.recorder === recorder) this.grown(size);
    };
    const begin = performance.now();
    const repeater = setInterval(this.repeat, kRepeatMs);
    recorder.onstop = () => {
      clearInterval(repeater);
      for (const track of stream.getTracks()) track.stop();
      void withDuration(new Blob(pieces, { type: 'video/webm' }), performance.now() - begin).then(
        this.finished,
      );
    };
    // In pieces, so that a long recording does not lie in memory as one.
    recorder.start(1000);
    this.repeat();
    this.recorder = recorder;
  }

  stop(): void {
    this.recorder?.stop();
    this.recorder = null;
  }
}
