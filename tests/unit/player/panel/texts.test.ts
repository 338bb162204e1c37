import { readFileSync, readdirSync } from "node:fs";
import { describe, expect, test } from "vitest";
import { Formats } from "../../../../src/player/panel/model/format";
import { clock } from "../../../../src/player/panel/model/time";
import { languageOf, textsIn } from "../../../../src/player/panel/texts/catalogue";
import { de } from "../../../../src/player/panel/texts/de";
import { en } from "../../../../src/player/panel/texts/en";
import { fr } from "../../../../src/player/panel/texts/fr";

const catalogues = { en, de, fr };

describe("the panel's language", () => {
  test.each(["en", "de", "fr"] as const)("%s has texts of its own", async (language) => {
    expect(await textsIn(language)).toBe(catalogues[language]);
  });
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
  test("distinguish singular and plural", () => {
    expect(texts.albums(1)).not.toContain("2");
    expect(texts.albums(1).replace("1", "")).not.toBe(texts.albums(2).replace("2", ""));
  });
});

test("large numbers are written in the style of each language", () => {
  expect(catalogues.en.tracks(12_000)).toBe("12,000 tracks");
  expect(catalogues.de.tracks(12_000)).toBe("12.000 Titel");
  expect(catalogues.fr.tracks(0)).toBe("0 titre");
});

test("every text is used", () => {
  const folder = new URL("../../../../src/player/panel/", import.meta.url);
  const sources = readdirSync(folder, { recursive: true, encoding: "utf8" })
    .filter((name) => /\.tsx?$/.test(name) && !name.startsWith("texts"))
    .map((name) => readFileSync(new URL(name, folder), "utf8"))
    .join("\n");
  const unused = Object.keys(catalogues.en).filter((name) => !new RegExp(`\\bt\\.${name}\\b`).test(sources));
  expect(unused).toEqual([]);
});

test("French has a no-break space before ; : ! ? and inside quotation marks", () => {
  for (const text of Object.values(catalogues.fr)) {
    const said = typeof text === "string" ? text : (text as (...args: unknown[]) => string)("1", "2");
    expect(said).not.toMatch(/ [:;?!»]|« /);
  }
});

describe("numbers and days", () => {
  const flac = { codec: "FLAC", bits: 24, rateHz: 44_100, bitRate: 1_500_000 };
  test.each([
    ["en", "50%", "FLAC 24 bit / 44.1 kHz", "May 29, 2009", "2009"],
    ["de", "50\u00a0%", "FLAC 24 Bit / 44,1 kHz", "29. Mai 2009", "2009"],
    ["fr", "50\u202f%", "FLAC 24 bits / 44,1 kHz", "29 mai 2009", "2009"],
  ] as const)("are written as in %s", (language, half, audio, day, year) => {
    const formats = new Formats(language, catalogues[language].bits);
    // Spaces of numbers differ between versions of the browser's own tables.
    const even = (text: string): string => text.replace(/\s/g, " ");
    expect(even(formats.percent(50))).toBe(even(half));
    expect(formats.audio(flac)).toBe(audio);
    expect(formats.audio({ codec: "MP3", bits: 16, rateHz: 44_100, bitRate: 320_400 })).toBe(
      "MP3 320 kbit/s",
    );
    expect(formats.audio({ text: "something" })).toBe("something");
    expect(formats.day(1_243_555_200)).toBe(day);
    expect(formats.day(1_230_768_000)).toBe(year);
  });
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
