import { describe, expect, test } from "vitest";
import type { PlayerStatus } from "../../../../src/player/panel/api/types";
import { noPlayer, positionMs, reduce, type Player } from "../../../../src/player/panel/model/player";

const status = (change: Partial<PlayerStatus> = {}): PlayerStatus => ({
  state: "playing",
  stalled: false,
  entry: 1,
  row: null,
  positionMs: 1_000,
  durationMs: 10_000,
  format: null,
  volumePercent: 100,
  volumeLimitPercent: 100,
  muted: false,
  repeat: "off",
  shuffle: false,
  place: 0,
  undo: 0,
  sleep: null,
  canSeek: true,
  canPause: true,
  queue: { revision: 5, count: 3 },
  ...change,
});
const heard = (change: Partial<PlayerStatus> = {}, at = 500): Player =>
  reduce(noPlayer, { kind: "player", status: status(change), at });

describe("the position", () => {
  test.each([
    ["is counted on while playing", {}, 2_500, 3_000],
    ["stands while paused", { state: "paused" as const }, 2_500, 1_000],
    ["stands while the stream is waited for", { stalled: true }, 2_500, 1_000],
    ["stands while opening", { state: "opening" as const }, 2_500, 1_000],
    ["ends with the track", {}, 60_000, 10_000],
    ["is counted on where the duration is not known", { durationMs: 0 }, 60_500, 61_000],
    ["does not go back with the clock", {}, 400, 1_000],
  ])("%s", (_, change, now, expected) => {
    expect(positionMs(heard(change), now)).toBe(expected);
  });
  test("is 0 without a player", () => expect(positionMs(noPlayer, 1_000)).toBe(0));
  test("is the listener's own after a seek", () => {
    const player = reduce(heard(), { kind: "seek", positionMs: 7_000, at: 1_000 });
    expect(positionMs(player, 1_500)).toBe(7_500);
  });
});

describe("the state of the queue", () => {
  test("follows its events", () => {
    const player = reduce(heard(), { kind: "queue", queue: { revision: 6, count: 4 } });
    expect(player.status?.queue).toEqual({ revision: 6, count: 4 });
    expect(player.status?.positionMs).toBe(1_000);
  });
  test("ignores an older event", () => {
    const player = reduce(heard(), { kind: "queue", queue: { revision: 4, count: 9 } });
    expect(player.status?.queue).toEqual({ revision: 5, count: 3 });
    const later = reduce(player, {
      kind: "player",
      status: status({ queue: { revision: 2, count: 1 } }),
      at: 600,
    });
    expect(later.status?.queue).toEqual({ revision: 5, count: 3 });
    expect(later.at).toBe(600);
  });
  test("waits for the player's first event", () => {
    expect(reduce(noPlayer, { kind: "queue", queue: { revision: 6, count: 4 } })).toBe(noPlayer);
  });
});
