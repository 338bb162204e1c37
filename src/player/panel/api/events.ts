import type { Notification, PlayerStatus, QueueState, ValueEvent } from "./types";

export interface Hearers {
  player(status: PlayerStatus): void;
  queue(queue: QueueState): void;
  value(event: ValueEvent): void;
  notification(notice: Notification): void;
  /** Connected; the current state of everything follows. */
  connected(): void;
  /** The connection was lost or failed; it is retried. */
  lost(): void;
}

/** The used part of the browser's EventSource. */
export interface Source {
  onopen: ((event: Event) => void) | null;
  onerror: ((event: Event) => void) | null;
  addEventListener(name: string, hear: (event: MessageEvent<string>) => void): void;
  close(): void;
}

const firstPauseMs = 500;
const longestPauseMs = 8_000;
export const names = ["player", "queue", "value", "notification"] as const;

/** Listens to the player's events and reconnects automatically. The returned function stops it. */
export function listen(
  url: string,
  hearers: Hearers,
  open: (url: string) => Source = (where) => new EventSource(where) as unknown as Source,
): () => void {
  let source: Source | undefined;
  let timer: ReturnType<typeof setTimeout> | undefined;
  let pauseMs = firstPauseMs;
  let ended = false;

  const connect = (): void => {
    const mine = open(url);
    source = mine;
    mine.onopen = () => {
      pauseMs = firstPauseMs;
      hearers.connected();
    };
    // The browser stops retrying after a response that is not an event stream, such as a proxy's 502.
    mine.onerror = () => {
      if (source !== mine || ended) return;
      mine.close();
      source = undefined;
      hearers.lost();
      timer = setTimeout(connect, pauseMs);
      pauseMs = Math.min(pauseMs * 2, longestPauseMs);
    };
    for (const name of names)
      mine.addEventListener(name, (event) => {
        if (source !== mine) return;
        const data = parsed(event.data);
        if (data !== undefined) (hearers[name] as (data: unknown) => void)(data);
      });
  };
  connect();
  return () => {
    ended = true;
    clearTimeout(timer);
    source?.close();
  };
}

function parsed(text: string): unknown {
  try {
    return JSON.parse(text);
  } catch {
    return undefined; // the next event says it anew
  }
}
