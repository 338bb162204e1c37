import { describe, expect, test } from "vitest";
import { clock } from "../../../../src/player/panel/model/time";
import { catalogues, languageOf } from "../../../../src/player/panel/texts/catalogue";

describe("the panel's language", () => {
  test.each([
    [["de-AT", "en"], "de"],
    [["pt-BR", "fr-CA", "en"], "fr"],
    [["EN-gb"], "en"],
    [["ja"], "en"],
    [["constructor"], "en"],
    [[], "en"],
  ])("%j gives %s", (wanted, expected) => {
    expect(languageOf(wanted)).toBe(expected);
  });
});

describe.each(Object.entries(catalogues))("the texts in %s", (_, texts) => {
  const written = Object.entries(texts).map(([name, text]): [string, string] => [
    name,
    typeof text === "string" ? text : (text as (...args: unknown[]) => string)("«1»", "«2»"),
  ]);
  test.each(written)("%s says something", (_name, text) => {
    expect(text.trim()).toBe(text);
    expect(text).not.toBe("");
    expect(text).not.toContain("undefined");
  });
  test("tell one from many", () => {
    expect(texts.items(1)).not.toContain("2");
    expect(texts.items(1).replace("1", "")).not.toBe(texts.items(2).replace("2", ""));
  });
});

test("large numbers are written as each language does", () => {
  expect(catalogues.en.tracks(12_000)).toBe("12,000 tracks");
  expect(catalogues.de.tracks(12_000)).toBe("12.000 Titel");
  expect(catalogues.fr.tracks(0)).toBe("0 titre");
});

describe("times", () => {
  test.each([
    [0, "0:00"],
    [-5, "0:00"],
    [999, "0:00"],
    [61_000, "1:01"],
    [3_599_999, "59:59"],
    [3_729_000, "1:02:09"],
  ])("%i ms is %s", (ms, expected) => expect(clock(ms)).toBe(expected));
});
