// The JSON messages of the viewer's protocol (docs/viewer-protocol.md).

export type StateName =
  'starting' | 'waiting' | 'running' | 'restarting' | 'no-display' | 'failed' | 'refused' | 'ended';

export type LayoutName = 'other' | 'french' | 'german' | 'japanese';

// Pixels of the screen; right and bottom are exclusive.
export interface Part {
  left: number;
  top: number;
  right: number;
  bottom: number;
}

export interface Monitor extends Part {
  id: number;
  primary: boolean;
}

export interface Screen {
  type: 'screen';
  id: number;
  width: number;
  height: number;
  monitors: Monitor[];
}

export interface Welcome {
  type: 'welcome';
  viewer: number;
  computer: string;
  user: string;
  version: string;
  viewOnly: boolean;
}

export interface Permissions {
  type: 'permissions';
  control: boolean;
  lock: boolean;
  blank: boolean;
}

export interface Control {
  type: 'control';
  controller: number;
  viewers: number;
  lock: boolean;
  blank: boolean;
}

export interface State {
  type: 'state';
  state: StateName;
  text: string;
  advice: string;
}

export interface Ask {
  type: 'ask';
  viewer: number;
  from: string;
}

export interface Withdraw {
  type: 'withdraw';
  viewer: number;
}

export interface Answer {
  type: 'answer';
  granted: boolean;
  text: string;
}

export interface LocalPointer {
  type: 'pointer';
  x: number;
  y: number;
}

export interface Layout {
  type: 'layout';
  layout: LayoutName;
}

export interface Pong {
  type: 'pong';
  time: number;
}

export type ServiceMessage =
  Welcome | Permissions | Control | State | Screen | Ask | Withdraw | Answer | LocalPointer | Layout | Pong;

export type PageMessage =
  | { type: 'control'; want: boolean }
  | { type: 'answer'; viewer: number; grant: boolean }
  | { type: 'settings'; lock: boolean; blank: boolean }
  | { type: 'monitor'; id: number | null }
  | { type: 'refresh' }
  | { type: 'retry' }
  | { type: 'ping'; time: number };
