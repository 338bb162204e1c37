import type { Page } from "playwright-core";
import { afterAll, beforeAll, describe, expect, test } from "vitest";
import type { Row, RowsAnswer } from "../../../src/player/panel/api/types";
import { browseUrl } from "../../../src/player/panel/model/routes";
import { leave, patienceMs, screens, shot, Stage, testLimitMs } from "./stage";

/** Long lists: filter, order, the header that stays in view, the way to the top and to a letter. */

const path = "qobuz:featured/albums";
const count = 600;
let stage: Stage;
let page: Page;
let rows: Row[];
const until = (what: () => unknown) => expect.poll(what, { timeout: patienceMs });
const titles = (): Promise<string[]> => page.locator("main .tile-title").allTextContents();
const firstTitles = async (): Promise<string[]> => (await titles()).slice(0, 5);

beforeAll(async () => {
  stage = await Stage.open({ sandbox: ["--featured-albums", String(count)] });
  rows = [];
  for (let from = 0; from < count; from += 100) {
    const range = `from=${from}&to=${from + 99}`;
    rows.push(...(await stage.ask<RowsAnswer>(`/api/rows?path=${encodeURIComponent(path)}&${range}`)).rows);
  }
  page = await stage.page({}, browseUrl(path));
  await page.locator(".tile:not(.skeleton)").first().waitFor();
}, testLimitMs);
afterAll(() => stage?.close(), testLimitMs);

const alphabetical = (): string[] => {
  const { compare } = new Intl.Collator("en", { numeric: true, ignorePunctuation: true });
  const titled = rows.map(({ title }) => title ?? "").filter(Boolean);
  return titled.sort(compare);
};

describe("a long list", { timeout: testLimitMs }, () => {
  test("is filtered by what is typed, and is whole again without it", async () => {
    const word = rows[400]!.title!.toLowerCase();
    const filter = page.getByRole("searchbox", { name: "Filter" });
    await filter.fill(word);
    await until(titles).toContain(rows[400]!.title);
    const shown = await titles();
    expect(shown.length).toBeLessThan(count);
    await filter.fill("no album has this name");
    await page.getByText("No results for “no album has this name”").waitFor();
    await filter.fill("");
    await until(firstTitles).toEqual(rows.slice(0, 5).map(({ title }) => title));
  });

  test("is sorted as the language sorts, and a letter leads to its first row", async () => {
    await page.getByRole("combobox", { name: "Sort by" }).selectOption("title");
    const wanted = alphabetical();
    await until(firstTitles).toEqual(wanted.slice(0, 5));
    const letters = page.getByRole("navigation", { name: "Letters" });
    await letters.getByRole("button", { name: "M", exact: true }).click();
    const first = wanted.find((title) => /^[^\p{L}\p{N}]*m/iu.test(title))!;
    const place = page.locator(`[aria-posinset="${wanted.indexOf(first) + 1}"]`);
    await until(() => place.locator(".tile-title").textContent()).toBe(first);
    await until(async () => {
      const box = await place.boundingBox();
      return !!box && box.y > 50 && box.y < 300;
    }).toBe(true);
  });

  test("keeps its title and the way to the top in view", async () => {
    await page.locator(".tools.stuck").getByText("Albums", { exact: true }).waitFor();
    for (const [screen, { viewport, colorScheme }] of screens) {
      await page.setViewportSize(viewport);
      await page.emulateMedia({ colorScheme, reducedMotion: "reduce" });
      await page.getByRole("button", { name: "Back to top" }).waitFor();
      await shot(page, `list-sorted-${screen}`);
      expect(
        await page.evaluate(() => document.documentElement.scrollWidth - innerWidth),
        `the list is wider than a ${screen} screen`,
      ).toBeLessThanOrEqual(0);
    }
    await page.getByRole("button", { name: "Back to top" }).click();
    await until(() => page.evaluate(() => scrollY)).toBe(0);
    for (const [screen, { viewport, colorScheme }] of screens) {
      await page.setViewportSize(viewport);
      await page.emulateMedia({ colorScheme, reducedMotion: "reduce" });
      await page.locator(".tools:not(.stuck)").waitFor();
      await shot(page, `list-top-${screen}`);
    }
    await page.setViewportSize({ width: 1440, height: 900 });
  });

  test("comes back as it was left", async () => {
    await until(firstTitles).toEqual(alphabetical().slice(0, 5));
    await page.locator("main .tile-link").first().click();
    await page.locator(".track:not(.skeleton)").first().waitFor();
    await page.goBack();
    await until(firstTitles).toEqual(alphabetical().slice(0, 5));
    await page.getByRole("combobox", { name: "Sort by" }).selectOption("");
    await until(firstTitles).toEqual(rows.slice(0, 5).map(({ title }) => title));
  });

  test("of more than 2,000 rows says that it cannot be filtered, and keeps the way to the top", async () => {
    const other = await Stage.open({ sandbox: ["--featured-albums", "12000"] });
    const long = await other.page({}, browseUrl(path));
    await long.getByText("Lists of up to 2,000 entries can be filtered and sorted.").waitFor();
    expect(await long.getByRole("searchbox", { name: "Filter" }).count()).toBe(0);
    await long.evaluate(() => scrollTo(0, 20_000));
    await long.getByRole("button", { name: "Back to top" }).waitFor();
    await shot(long, "list-too-long-desktop-light");
    await leave(long);
    await other.close();
  });

  test("of tracks plays from the row that was pressed, however it is sorted", async () => {
    const playlist = (await stage.ask<RowsAnswer>("/api/rows?path=qobuz%3Aplaylists&from=0&to=0")).rows[0]!;
    const tracks = (
      await stage.ask<RowsAnswer>(`/api/rows?path=${encodeURIComponent(playlist.path!)}&from=0&to=99`)
    ).rows;
    expect(tracks.length, "a list with tools").toBeGreaterThan(24);
    const other = await stage.page({}, browseUrl(playlist.path!, playlist.title));
    await other.getByRole("combobox", { name: "Sort by" }).selectOption("title");
    const { compare } = new Intl.Collator("en", { numeric: true, ignorePunctuation: true });
    const wanted = tracks.map(({ title }) => title!).sort(compare);
    const first = other.locator('[aria-posinset="1"] .track-title');
    await until(() => first.textContent()).toBe(wanted[0]);
    await other.locator('[aria-posinset="2"] .track-main').click();
    await until(async () => (await stage.ask<{ row: Row | null }>("/api/player")).row?.title).toBe(wanted[1]);
    await leave(other);
  });
});
