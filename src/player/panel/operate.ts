import type { Repeat } from "./api/types";
import { positionMs } from "./model/player";
import { attempt, client, hear, player, sounds, status } from "./state";

/** The listener's operations on the player, by pointer or keyboard. */

export const togglePlaying = (): Promise<boolean> => attempt(client.operate(sounds.value ? "pause" : "play"));

export function seekTo(position: number): void {
  hear({ kind: "seek", positionMs: position, at: performance.now() });
  void attempt(client.seek(position));
}
/** The player adds up the distances, because the page's position may be older than the last press. */
export function seekBy(seconds: number): void {
  const now = status.value;
  if (!now?.canSeek || now.state === "stopped" || now.durationMs <= 0) return;
  const position = positionMs(player.value, performance.now());
  const by = Math.min(seconds * 1000, Math.max(0, now.durationMs - 1000 - position));
  hear({ kind: "seek", positionMs: Math.max(0, position + by), at: performance.now() });
  void attempt(client.seekBy(by));
}

export function changeVolume(by: number): void {
  const percent = status.value?.volumePercent;
  if (percent === undefined) return;
  void attempt(client.volume({ percent: Math.max(0, Math.min(100, percent + by)), muted: false }));
}
export function toggleMuted(): void {
  if (status.value) void attempt(client.volume({ muted: !status.value.muted }));
}

const nextRepeat: Record<Repeat, Repeat> = { off: "all", all: "one", one: "off" };
export function changeRepeat(): void {
  if (status.value) void attempt(client.mode({ repeat: nextRepeat[status.value.repeat] }));
}
export function toggleShuffle(): void {
  if (status.value) void attempt(client.mode({ shuffle: !status.value.shuffle }));
}
export function skip(to: "next" | "previous"): void {
  if (status.value?.queue.count) void attempt(client.operate(to));
}
