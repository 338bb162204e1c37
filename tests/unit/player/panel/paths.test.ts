import { describe, expect, test } from "vitest";
import type { Row } from "../../../../src/player/panel/api/types";
import { beforeOf, moved } from "../../../../src/player/panel/model/moves";
import {
  expectedLayout,
  ancestors,
  isAlbum,
  isMenu,
  layoutOf,
  resultsPath,
} from "../../../../src/player/panel/model/paths";
import { browseUrl, parseRoute, searchUrl } from "../../../../src/player/panel/model/routes";

describe("the breadcrumbs of a path", () => {
  test.each([
    ["music:", []],
    ["music:featured/", ["music:"]],
    ["music:featured/albums", ["music:", "music:featured/"]],
    ["music:album?id=1/2", ["music:"]],
    ["music:a/b/c?x=y/z", ["music:", "music:a/", "music:a/b/"]],
  ])("%s", (path, expected) => expect(ancestors(path)).toEqual(expected));
});

describe("the results of a search", () => {
  test.each([
    ["a+b & c=d?#100%", "s:r/?query=a%2Bb%20%26%20c%3Dd%3F%23100%25"],
    ["カロ月", "s:r/?query=%E3%82%AB%E3%83%AD%E6%9C%88"],
  ])("of %s", (text, expected) => expect(resultsPath("s:r/", "query", text)).toBe(expected));
  test("keep the path's own parameters", () => expect(resultsPath("s:r?a=1", "q", "x")).toBe("s:r?a=1&q=x"));
});

describe("how a list is shown", () => {
  const row = (change: Row): Row => ({ type: "container", path: "m:x", ...change });
  test.each<[string, Row | undefined, string]>([
    ["albums", row({ containerType: "album", path: "m:album?id=1" }), "covers"],
    ["playlists without a picture", row({ containerType: "trackList", path: "m:playlist?id=1" }), "covers"],
    ["tracks", row({ type: "audio" }), "tracks"],
    ["branches", row({ containerType: "folder" }), "menu"],
    ["branches that are tracks", row({ containerType: "trackList" }), "menu"],
    ["a search entry", row({ type: "query" }), "menu"],
    ["nothing", undefined, "tracks"],
  ])("%s", (_, first, expected) => expect(layoutOf(first)).toBe(expected));
  test("a row with a picture is not a branch", () => expect(isMenu(row({ icon: "http://x/" }))).toBe(false));
});

describe("tracks of one album", () => {
  const track = (album: string | undefined, originalTrackNumber: number): Row => ({
    type: "audio",
    metaData: { originalTrackNumber, ...(album !== undefined && { album }) },
  });
  test.each<[string, (Row | undefined)[], boolean]>([
    ["from its first on", [track("A", 1), track("A", 2), track("A", 3)], true],
    ["of two discs", [track("A", 1), track("A", 2), track("A", 1), track("A", 2)], true],
    ["not from its first on", [track("A", 2), track("A", 3)], false],
    ["in another order", [track("A", 1), track("A", 3)], false],
    ["of two", [track("A", 1), track("B", 2)], false],
    ["of which nobody says it", [track(undefined, 1), track(undefined, 2)], false],
    ["one alone", [track("A", 1)], false],
    ["not there yet", [track("A", 1), undefined], false],
    ["none", [], false],
  ])("%s", (_, rows, expected) => expect(isAlbum(rows)).toBe(expected));
});

describe("addresses", () => {
  test.each([
    ["/", { view: "home" }],
    [
      browseUrl("m:a?q=1&r=%25 +ü", "50 % & #1"),
      { view: "browse", path: "m:a?q=1&r=%25 +ü", title: "50 % & #1" },
    ],
    [browseUrl("m:a/b"), { view: "browse", path: "m:a/b", title: "" }],
    [searchUrl("ñ & カ+"), { view: "search", text: "ñ & カ+" }],
    [searchUrl(""), { view: "search", text: "" }],
    ["/playing", { view: "playing" }],
    ["/queue", { view: "queue" }],
    ["/account", { view: "account" }],
    ["/nowhere", { view: "missing" }],
  ])("%s", (url, expected) => expect(parseRoute(new URL(url, "http://panel/"))).toEqual(expected));
});

describe("a row that is moved", () => {
  const ids = [10, 20, 30, 40];
  test.each([
    [0, 2, 40],
    [0, 3, null],
    [3, 0, 10],
    [2, 1, 20],
    [1, 1, undefined],
    [0, -1, undefined],
    [3, 4, undefined],
  ])("from place %i to place %i goes before %s", (from, to, expected) => {
    const before = beforeOf(from, to, ids.length, (i) => ids[i]);
    expect(before).toBe(expected);
    if (before === undefined) return;
    const after = moved(
      ids.map((id) => ({ id })),
      ids[from]!,
      before,
    );
    expect(after[to]?.id).toBe(ids[from]);
  });
  test("stays if its new neighbour does not exist", () => {
    const list = [{ id: 1 }, { id: 2 }];
    expect(moved(list, 1, 9)).toBe(list);
    expect(moved(list, 9, 1)).toBe(list);
  });
});

test.each([
  ["m:favourites/tracks", "tracks"],
  ["m:search/tracks?query=x", "tracks"],
  ["m:featured/albums", "covers"],
  ["m:playlists", "covers"],
  ["m:featured/", "menu"],
])("%s is expected to be shown as %s", (path, layout) => {
  expect(expectedLayout(path)).toBe(layout);
});
