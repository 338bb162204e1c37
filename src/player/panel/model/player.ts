import type { PlayerStatus, QueueState } from "../api/types";

/** The player's state as known to the panel, and when the position was received. */
export interface Player {
  status: PlayerStatus | null;
  /** The browser's clock, in milliseconds, when the status came. */
  at: number;
}

export type PlayerEvent =
  | { kind: "player"; status: PlayerStatus; at: number }
  | { kind: "queue"; queue: QueueState }
  /** The listener's own seek, shown before the player confirms it. */
  | { kind: "seek"; positionMs: number; at: number };

export const noPlayer: Player = { status: null, at: 0 };

export function reduce(player: Player, event: PlayerEvent): Player {
  switch (event.kind) {
    case "player":
      // Events of one stream are in order; an older response has an older queue.
      return {
        status: { ...event.status, queue: newer(player.status?.queue, event.status.queue) },
        at: event.at,
      };
    case "queue":
      return player.status
        ? { ...player, status: { ...player.status, queue: newer(player.status.queue, event.queue) } }
        : player;
    case "seek":
      return player.status
        ? { status: { ...player.status, positionMs: event.positionMs }, at: event.at }
        : player;
  }
}

function newer(known: QueueState | undefined, said: QueueState): QueueState {
  return known && known.revision > said.revision ? known : said;
}

/** The position at a time of the browser's clock; advances while sound is audible. */
export function positionMs(player: Player, now: number): number {
  const status = player.status;
  if (!status) return 0;
  const runs = status.state === "playing" && !status.stalled;
  const position = status.positionMs + (runs ? Math.max(0, now - player.at) : 0);
  return status.durationMs > 0 ? Math.min(position, status.durationMs) : position;
}
