/** What the player's interface answers, as its OpenAPI document describes it. */

export interface MetaData {
  artist?: string;
  album?: string;
  genre?: string;
  composer?: string;
  performer?: string;
  copyright?: string;
  comment?: string;
  /** Seconds since the epoch. */
  date?: number;
  originalTrackNumber?: number;
}

export interface Row {
  title?: string;
  path?: string;
  type?: "container" | "query" | "audio" | "none";
  containerType?: "folder" | "artist" | "album" | "trackList" | "search";
  containerPlayable?: boolean;
  icon?: string;
  searchPath?: string;
  query?: string;
  queryPath?: string;
  playable?: boolean;
  metaData?: MetaData;
}

export interface RowsAnswer {
  path: string;
  from: number;
  count: number;
  version: number;
  rows: Row[];
}

export interface Format {
  mimeType?: string;
  codec?: string;
  bits?: number;
  rateHz?: number;
  bitRate?: number;
  text?: string;
  lowerThanAsked?: boolean;
}

export type Repeat = "off" | "one" | "all";

export interface QueueState {
  /** Grows with every change of the queue. */
  revision: number;
  count: number;
}

export interface PlayerStatus {
  state: "stopped" | "opening" | "playing" | "paused";
  /** Playing, but silent until more of the stream has come. */
  stalled: boolean;
  entry: number | null;
  row: Row | null;
  positionMs: number;
  durationMs: number;
  format: Format | null;
  volumePercent: number;
  muted: boolean;
  repeat: Repeat;
  shuffle: boolean;
  canSeek: boolean;
  canPause: boolean;
  queue: QueueState;
}

export interface QueueEntry {
  id: number;
  row: Row;
}

export interface QueueAnswer extends QueueState {
  entries: QueueEntry[];
}

export type Where = "replace" | "next" | "end";

export interface Addition {
  path: string;
  where: Where;
  from?: number;
  to?: number;
  startAt?: number;
}

/** A tagged value of the content model. */
export interface Value {
  type?: number;
  [field: string]: unknown;
}

export interface ValueEvent {
  path: string;
  value: Value | null;
}

export interface Notification {
  title?: string;
  message?: string;
}
