// The message over the desktop when there is no picture, or no longer: what is so, what to do, and a way back.
import { State } from './Messages.js';
import { button, element } from './dom.js';
import { LinkState } from './WorkerMessages.js';

export type OverlayAction = 'retry' | 'reconnect' | 'sign-in';

export interface OverlayContent {
  title: string;
  lines: readonly string[];
  // Something is under way, without anybody's doing.
  busy: boolean;
  action: OverlayAction | null;
}

const kTitles: Record<State['state'], string> = {
  starting: 'Starting',
  waiting: 'Waiting for permission',
  running: '',
  restarting: 'Starting again',
  'no-display': 'No picture',
  failed: 'The desktop could not be started',
  refused: 'Not allowed',
  ended: 'The session has ended',
};

const kLabels: Record<OverlayAction, string> = {
  retry: 'Try again',
  reconnect: 'Connect now',
  'sign-in': 'Sign in',
};

const kConnecting: OverlayContent = { title: 'Connecting', lines: [], busy: true, action: null };

// What is to be said, null for nothing. `state`: the service's last one, null before the first. `hasScreen`: there is
// something to look at.
export function overlayContent(
  link: LinkState,
  state: State | null,
  hasScreen: boolean,
): OverlayContent | null {
  switch (link.link) {
    case 'connecting':
      return kConnecting;
    case 'lost':
      return {
        title: 'Connection lost',
        lines: ['The service does not answer. The page connects again by itself, and the picture comes back.'],
        busy: true,
        action: 'reconnect',
      };
    case 'unreachable':
      return {
        title: 'The service cannot be reached',
        lines: ['Check that it runs and that the network is there, then connect again.'],
        busy: false,
        action: 'reconnect',
      };
    case 'signed-out':
      return {
        title: 'Signed out',
        lines: ['The service was started anew and has printed a new address. Open that, or sign in with its token.'],
        busy: false,
        action: 'sign-in',
      };
    case 'closed':
      return {
        title: 'Disconnected',
        lines: [`The service has ended the connection${link.reason === '' ? '' : `: ${link.reason}`}.`],
        busy: false,
        action: 'reconnect',
      };
    case 'unsupported':
      return {
        title: 'This browser is too old',
        lines: ['It cannot draw in the background or inflate data. Any browser of the last two years can.'],
        busy: false,
        action: null,
      };
    case 'open':
      break;
  }
  if (state === null) return kConnecting;
  if (state.state === 'running') return hasScreen ? null : kConnecting;
  const busy = ['starting', 'waiting', 'restarting'].includes(state.state);
  return {
    title: kTitles[state.state] ?? '',
    lines: [state.text, state.advice].filter((line) => line !== ''),
    busy,
    action: busy ? null : 'retry',
  };
}

export class Overlay {
  private readonly root = element('overlay', HTMLElement);
  private readonly title = element('overlay-title', HTMLHeadingElement);
  private readonly text = element('overlay-text', HTMLParagraphElement);
  private readonly button: HTMLButtonElement;
  private action: OverlayAction | null = null;

  constructor(act: (action: OverlayAction) => void) {
    this.button = button('overlay-action', () => {
      if (this.action !== null) act(this.action);
    });
  }

  show(content: OverlayContent | null): void {
    this.root.classList.toggle('shown', content !== null);
    // What fades out keeps its words.
    if (content === null) return;
    this.root.classList.toggle('busy', content.busy);
    this.title.textContent = content.title;
    this.text.replaceChildren(
      ...content.lines.map((text) => {
        const line = document.createElement('span');
        line.textContent = text;
        return line;
      }),
    );
    this.action = content.action;
    this.button.hidden = content.action === null;
    if (content.action !== null) this.button.textContent = kLabels[content.action];
  }
}
