// What the page knows of the session, from the messages of the service.
import { Control, Monitor, Part, Permissions, Screen, ServiceMessage, State, Welcome } from './Messages.js';
import { LinkState } from './WorkerMessages.js';

export type Role = 'controlling' | 'watching' | 'watching-free' | 'asking' | 'never-controlling';

export class SessionModel {
  link: LinkState = { link: 'connecting' };
  welcome: Welcome | null = null;
  permissions: Permissions | null = null;
  control: Control | null = null;
  state: State | null = null;
  screen: Screen | null = null;
  // null for all.
  chosenMonitor: number | null = null;
  private asking = false;
  // The person wants to watch, whatever the service grants.
  private declined = false;

  take(message: ServiceMessage): void {
    switch (message.type) {
      case 'welcome':
        this.welcome = message;
        this.asking = false;
        break;
      case 'permissions':
        this.permissions = message;
        break;
      case 'control':
        this.control = message;
        if (this.isController) this.asking = false;
        break;
      case 'answer':
        this.asking = false;
        break;
      case 'state':
        this.state = message;
        break;
      case 'screen':
        this.screen = message;
        break;
    }
  }

  setLink(link: LinkState): void {
    this.link = link;
    if (link.link !== 'open') this.state = null;
  }

  get role(): Role {
    if (this.welcome === null || this.welcome.viewOnly || this.permissions?.control !== true)
      return 'never-controlling';
    if (this.isController && !this.declined) return 'controlling';
    if (this.asking) return 'asking';
    return this.isController || this.control?.controller === 0 ? 'watching-free' : 'watching';
  }

  // Whether keys and the pointer act in the session.
  get acts(): boolean {
    return this.role === 'controlling' && this.link.link === 'open' && this.state?.state === 'running';
  }

  // Returns whether control is wanted from now on.
  changeControl(): boolean {
    const wants = this.role !== 'controlling';
    this.declined = !wants;
    this.asking = wants && !this.isController;
    return wants;
  }

  // The chosen monitor; null when all are shown.
  get monitor(): Monitor | null {
    return this.screen?.monitors.find(({ id }) => id === this.chosenMonitor) ?? null;
  }

  // What is to be seen of the screen; null before there is one.
  get part(): Part | null {
    if (this.screen === null) return null;
    return this.monitor ?? { left: 0, top: 0, right: this.screen.width, bottom: this.screen.height };
  }

  private get isController(): boolean {
    return this.welcome !== null && this.control?.controller === this.welcome.viewer;
  }
}
