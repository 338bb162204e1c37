import { describe, expect, test } from "vitest";
import { directionOf } from "../../../../src/player/panel/model/gestures";
import { extended, noSelection, remaining, toggled } from "../../../../src/player/panel/model/selection";

const order = [1, 2, 3, 4, 5];
const ids = (selection: { ids: ReadonlySet<number> }): number[] => [...selection.ids];

describe("a selection of rows", () => {
  test("gains a row, and loses it at a second press", () => {
    const one = toggled(noSelection, 3);
    expect(ids(one)).toEqual([3]);
    expect(toggled(one, 3)).toEqual(noSelection);
  });
  test.each([
    [2, 4, [2, 3, 4]],
    [4, 2, [2, 3, 4]],
    [3, 3, [3]],
  ])("goes from row %i to row %i", (from, to, expected) => {
    expect(ids(extended(toggled(noSelection, from), to, order))).toEqual(expected);
  });
  test("continues from the same row when it is extended again", () => {
    const wide = extended(toggled(noSelection, 2), 5, order);
    expect(ids(extended(wide, 3, order))).toEqual([2, 3]);
  });
  test("starts with the row if none was selected, or if the first one was removed", () => {
    expect(ids(extended(noSelection, 3, order))).toEqual([3]);
    expect(ids(extended(toggled(noSelection, 9), 3, order))).toEqual([3]);
  });
  test("loses rows that were removed", () => {
    const all = extended(toggled(noSelection, 1), 5, order);
    expect(ids(remaining(all, [2, 5, 6]))).toEqual([2, 5]);
    expect(remaining(all, [9])).toEqual(noSelection);
    expect(remaining(all, order)).toBe(all);
  });
});

describe("a finger", () => {
  test.each([
    [100, 5, "right"],
    [-100, 30, "left"],
    [10, 90, "down"],
    [-20, -90, "up"],
    [30, 0, undefined],
    [80, 70, undefined],
  ] as const)("that moved by %i, %i swiped: %s", (dx, dy, expected) => {
    expect(directionOf(dx, dy)).toBe(expected);
  });
});
