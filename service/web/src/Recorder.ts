// Records what the canvas shows, by the browser's own recorder.

const kPicturesPerSecond = 30;
const kTypes = ['video/webm;codecs=vp9', 'video/webm;codecs=vp8', 'video/webm'];

export class Recorder {
  private recorder: MediaRecorder | null = null;
  private pieces: Blob[] = [];

  // `finished` is called with the recording when it has ended.
  constructor(
    private readonly canvas: HTMLCanvasElement,
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
    this.pieces = [];
    recorder.ondataavailable = ({ data }) => this.pieces.push(data);
    recorder.onstop = () => {
      for (const track of stream.getTracks()) track.stop();
      this.finished(new Blob(this.pieces, { type: 'video/webm' }));
      this.pieces = [];
    };
    // In pieces, so that a long recording does not lie in memory as one.
    recorder.start(1000);
    this.recorder = recorder;
  }

  stop(): void {
    this.recorder?.stop();
    this.recorder = null;
  }
}
