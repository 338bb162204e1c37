import { describe, expect, test } from "vitest";
import { isOfThisMachine } from "../../../../src/player/panel/model/address";
import {
  fieldsOf,
  filtered,
  letterOf,
  lettersOf,
  sorted,
  type Numbered,
} from "../../../../src/player/panel/model/order";
import { sleepText } from "../../../../src/player/panel/model/sleep";

const list = (...titles: string[]): Numbered[] => titles.map((title, index) => ({ row: { title }, index }));
const titlesOf = (rows: Numbered[]): (string | undefined)[] => rows.map(({ row }) => row.title);

describe("a filter", () => {
  test.each([
    ["", ["Élan", "Slow Harbour", "100 %"]],
    ["elan", ["Élan"]],
    ["harb slow", ["Slow Harbour"]],
    ["100", ["100 %"]],
    ["slow elan", []],
  ])("%j finds %j", (text, expected) => {
    expect(titlesOf(filtered(list("Élan", "Slow Harbour", "100 %"), text))).toEqual(expected);
  });
  test("finds artists, albums and composers", () => {
    const metaData = { artist: "Ann", performer: "Ben", album: "Cay", composer: "Dee" };
    const rows = [{ row: { title: "x", metaData }, index: 0 }];
    for (const word of ["ann", "ben", "cay", "dee"]) expect(filtered(rows, word)).toHaveLength(1);
  });
});

describe("an order", () => {
  test.each([
    ["en", ["Abel", "Äpfel", "Track 2", "Track 10", "Zorn"]],
    ["de", ["Abel", "Äpfel", "Track 2", "Track 10", "Zorn"]],
  ])("by title is that of the language %s, with numbers by their value", (language, expected) => {
    const rows = list("Zorn", "Track 10", "", "Äpfel", "Track 2", "Abel");
    expect(titlesOf(sorted(rows, "title", language))).toEqual([...expected, ""]);
  });
  test("by date begins with the newest and keeps the places of the rows", () => {
    const rows = [10, 30, 20].map((date, index) => ({ row: { metaData: { date } }, index }));
    expect(sorted(rows, "date", "en").map(({ index }) => index)).toEqual([1, 2, 0]);
  });
  test("is offered for fields in which rows differ", () => {
    const rows = ["a", "b"].map((title) => ({ title, metaData: { artist: "same", date: 5 } }));
    expect(fieldsOf(rows)).toEqual(["title"]);
  });
});

describe("a letter", () => {
  test.each([
    ["Élan", "E"],
    ["“Quoted”", "Q"],
    ["99 Nights", "#"],
    ["", "…"],
    ["Дка", "…"],
    ["カロ", "…"],
  ])("of %j is %s", (title, letter) => expect(letterOf(title)).toBe(letter));
  test("leads to its first row", () => {
    expect(lettersOf(list("1", "Ab", "Ac", "B"), "title")).toEqual([
      ["#", 0],
      ["A", 1],
      ["B", 3],
    ]);
  });
});

describe("the sleep timer", () => {
  const words = { track: "track", queue: "queue", minutes: (n: number) => `${n} min` };
  test.each([
    [null, 0, ""],
    [{ at: "track" }, 0, "track"],
    [{ at: "queue" }, 0, "queue"],
    [{ at: "time", leftMs: 1_800_000 }, 0, "30 min"],
    [{ at: "time", leftMs: 1_800_000 }, 1, "30 min"],
    [{ at: "time", leftMs: 1_800_000 }, 60_000, "29 min"],
    [{ at: "time", leftMs: 1_000 }, 5_000, "1 min"],
  ] as const)("%j, told %i ms ago, says %j", (sleep, sinceMs, expected) => {
    expect(sleepText(sleep, sinceMs, words)).toBe(expected);
  });
});

describe("an address", () => {
  test.each([
    ["localhost", true],
    ["127.0.0.1", true],
    ["127.1.2.3", true],
    ["[::1]", true],
    ["192.168.1.5", false],
    ["127.example.com", false],
    ["player.local", false],
  ])("%s is of this machine alone: %s", (host, expected) => expect(isOfThisMachine(host)).toBe(expected));
});
