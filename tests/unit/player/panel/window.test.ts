import { describe, expect, test } from "vitest";
import { columnsOf, windowOf } from "../../../../src/player/panel/model/window";

describe("the visible part of a long list", () => {
  const tracks = { count: 100_000, columns: 1, lineHeight: 60 };
  test.each([
    ["at the top", tracks, 0, 800, { first: 0, last: 16, top: 0, height: 6_000_000 }],
    [
      "in the middle",
      tracks,
      3_000_000,
      3_000_800,
      { first: 49_997, last: 50_016, top: 2_999_820, height: 6_000_000 },
    ],
    [
      "at the end",
      tracks,
      5_999_200,
      6_000_000,
      { first: 99_983, last: 99_999, top: 5_998_980, height: 6_000_000 },
    ],
    ["above the list", tracks, -2_000, -1_200, { first: 0, last: 3, top: 0, height: 6_000_000 }],
    [
      "below the list",
      tracks,
      6_001_000,
      6_001_800,
      { first: 99_996, last: 99_999, top: 5_999_760, height: 6_000_000 },
    ],
    [
      "a grid whose last line is not full",
      { count: 10, columns: 4, lineHeight: 200 },
      0,
      900,
      { first: 0, last: 9, top: 0, height: 600 },
    ],
    [
      "an empty list",
      { count: 0, columns: 1, lineHeight: 60 },
      0,
      800,
      { first: 0, last: -1, top: 0, height: 0 },
    ],
  ])("%s", (_, grid, from, to, expected) => {
    const part = windowOf(grid, from, to);
    expect({ ...part, first: part.first + 0, top: part.top + 0 }).toEqual(expected);
  });

  test.each([
    [350, 2, 163],
    [1_000, 5, 180.8],
    [100, 2, 38],
  ])("%i pixels hold %i columns", (width, columns, each) => {
    expect(columnsOf(width, 160, 24)).toEqual({ columns, width: each });
  });
});
