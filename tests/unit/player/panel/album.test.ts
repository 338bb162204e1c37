import { describe, expect, test } from "vitest";
import type { MetaData, Row } from "../../../../src/player/panel/api/types";
import { albumFacts } from "../../../../src/player/panel/model/album";
import { Origins } from "../../../../src/player/panel/model/origins";

const track = (n: number, meta: MetaData = {}): Row => ({
  type: "audio",
  path: `m:track?id=${n}`,
  metaData: { album: "A", artist: "The Band", performer: "The Band", originalTrackNumber: n, ...meta },
});

describe("an album's tracks show", () => {
  test("its artist, date, genre, and a composer that all of them share", () => {
    const common = { date: 1_243_555_200, genre: "Disco", composer: "C" };
    const facts = albumFacts([track(1, common), track(2, common)]);
    expect(facts).toMatchObject({ artist: "The Band", date: 1_243_555_200, genre: "Disco", composer: "C" });
    expect(facts.differing(track(1, common))).toBe("");
  });
  test("a performer only if it is not the album's artist", () => {
    const rows = [track(1), track(2, { performer: "A Guest" })];
    expect(rows.map(albumFacts(rows).differing)).toEqual(["", "A Guest"]);
  });
  test("composers per line if they differ, and never the performer twice", () => {
    const rows = [
      track(1, { composer: "X" }),
      track(2, { composer: "Y" }),
      track(3, { composer: "The Band" }),
    ];
    expect(albumFacts(rows).composer).toBe("");
    expect(rows.map(albumFacts(rows).differing)).toEqual(["X", "Y", ""]);
  });
  test("each copyright notice once", () => {
    const rows = [
      track(1, { copyright: "℗ 1" }),
      track(2),
      track(3, { copyright: "℗ 2" }),
      track(4, { copyright: "℗ 1" }),
    ];
    expect(albumFacts(rows).copyrights).toEqual(["℗ 1", "℗ 2"]);
  });
  test("nothing if there are none", () => {
    expect(albumFacts([])).toMatchObject({ artist: "", date: 0, genre: "", composer: "", copyrights: [] });
  });
});

describe("links of a track and a name", () => {
  test("a track links to the album on which it was shown", () => {
    const origins = new Origins(undefined);
    origins.note("m:album?id=1", [track(1), track(2)], undefined);
    expect(origins.albumOf(track(2))).toBe("m:album?id=1");
    expect(origins.albumOf(track(3))).toBeUndefined();
  });
  test.each([
    ["a playlist", "m:playlist?id=1", "trackList"],
    ["a list of the menu", "m:favourites/tracks", undefined],
  ])("%s is not an album", (_, path, kind) => {
    const origins = new Origins(undefined);
    origins.note(path, [track(1), track(2)], kind);
    expect(origins.albumOf(track(1))).toBeUndefined();
  });
  test("a name links to the artist whose row was shown", () => {
    const origins = new Origins(undefined);
    const artist: Row = { type: "container", containerType: "artist", title: "X", path: "m:artist?id=1" };
    origins.note(
      "m:featured/artists",
      [artist, { ...artist, containerType: "album", title: "Y" }],
      undefined,
    );
    expect(origins.artistNamed("X")).toBe("m:artist?id=1");
    expect(origins.artistNamed("Y")).toBeUndefined();
  });
});
