import type { PlayerStatus } from "../api/types";

interface Words {
  track: string;
  queue: string;
  minutes: (minutes: number) => string;
}

/** The sleep timer in words: the minutes that are left, rounded up, or where the player stops. `sinceMs`: the status's age. */
export function sleepText(sleep: PlayerStatus["sleep"], sinceMs: number, words: Words): string {
  if (!sleep) return "";
  if (sleep.at === "track") return words.track;
  if (sleep.at === "queue") return words.queue;
  return words.minutes(Math.max(1, Math.ceil(((sleep.leftMs ?? 0) - sinceMs) / 60_000)));
}
