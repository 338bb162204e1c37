import type { Page } from "playwright-core";
import { afterAll, beforeAll, describe, expect, test } from "vitest";
import { leave, patienceMs, Stage, testLimitMs } from "./stage";

let stage: Stage;
let page: Page;
beforeAll(async () => {
  stage = await Stage.open();
  page = await stage.page({}, "/search");
}, testLimitMs);
afterAll(() => stage?.close(), testLimitMs);

const box = () => page.getByRole("searchbox", { name: "Search" });
const sections = (): Promise<string[]> =>
  page.getByRole("heading", { level: 2 }).evaluateAll((all) => all.map((each) => each.textContent ?? ""));

describe("searching", { timeout: testLimitMs }, () => {
  test("starts with an empty, focused box", async () => {
    await page.getByText("What would you like to hear?").waitFor();
    await expect
      .poll(() => box().evaluate((input) => document.activeElement === input), { timeout: patienceMs })
      .toBe(true);
  });

  test("finds artists, albums, tracks and playlists as you type", async () => {
    await stage.sandboxAnswers("requests", "DELETE");
    await box().pressSequentially("sun");
    await page.getByRole("list", { name: "Tracks" }).getByRole("listitem").first().waitFor();
    await expect
      .poll(sections, { timeout: patienceMs })
      .toEqual(["Artists", "Albums", "Tracks", "Playlists"]);
    expect(new URL(page.url()).search).toBe("?q=sun");
    // Each letter alone was not worth a search.
    const asked = (await stage.calls("track/search")).map((items) => items.get("query"));
    expect(asked.at(-1)).toBe("sun");
    expect(asked.length).toBeLessThanOrEqual(3);
  });

  test.each(["カロ", "δρα", "Дка", "šel", "كا", "100% + \\", "&amp;"])(
    "finds %s as it is written",
    async (text) => {
      await stage.sandboxAnswers("requests", "DELETE");
      await box().fill(text);
      const first = page.locator(".results .tile-title, .results .track-title").first();
      await first.waitFor();
      await expect.poll(() => new URL(page.url()).searchParams.get("q"), { timeout: patienceMs }).toBe(text);
      await expect
        .poll(async () => (await stage.calls("track/search")).map((items) => items.get("query")), {
          timeout: patienceMs,
        })
        .toContain(text);
      // A row of another search may still be shown at first.
      await expect
        .poll(
          async () => {
            const titles = await page
              .locator(".results .tile-title, .results .track-title")
              .allTextContents();
            return titles.some((title) => title.toLowerCase().includes(text.toLowerCase()));
          },
          { timeout: patienceMs },
        )
        .toBe(true);
    },
  );

  test("ignores the results of a search that arrive too late", async () => {
    await stage.fault({ endpoint: "track/search", kind: "delay", ms: 3000, count: 1 });
    await box().fill("amber");
    await expect
      .poll(async () => (await stage.calls("track/search")).some((items) => items.get("query") === "amber"), {
        timeout: patienceMs,
      })
      .toBe(true);
    await box().fill("velvet");
    const list = page.getByRole("list", { name: "Tracks" });
    const titles = (): Promise<string[]> => list.locator(".track-title").allTextContents();
    await expect.poll(async () => (await titles()).join("\n"), { timeout: patienceMs }).toMatch(/velvet/i);
    await expect
      .poll(async () => (await stage.sandboxAnswers<{ faults: unknown[] }>("faults")).faults.length, {
        timeout: patienceMs,
      })
      .toBe(0);
    expect((await titles()).join("\n")).not.toMatch(/amber/i);
    await stage.noFaults();
  });

  test("says if nothing was found", async () => {
    await box().fill("qqqqqqqqqq");
    await page.getByText("No results for “qqqqqqqqqq”").waitFor();
  });

  test("opens a result, and returns to the search", async () => {
    await box().fill("summer");
    const found = page.getByRole("list", { name: "Albums" }).locator(".tile-link").first();
    await found.waitFor();
    await expect.poll(() => new URL(page.url()).search, { timeout: patienceMs }).toBe("?q=summer");
    const title = (await found.locator(".tile-title").textContent())!;
    await found.click();
    await page.getByRole("heading", { name: title, exact: true, level: 1 }).waitFor();
    await page.getByRole("link", { name: "Search: summer" }).waitFor();
    await page.goBack();
    await found.waitFor();
    expect(await box().inputValue()).toBe("summer");
  });

  test("returns to the position at which the results were left", async () => {
    await page.setViewportSize({ width: 390, height: 600 });
    await page.locator(".results .tile-link").first().waitFor();
    await page.evaluate(() => scrollTo(0, document.documentElement.scrollHeight));
    const before = await page.evaluate(() => scrollY);
    expect(before).toBeGreaterThan(200);
    const found = page.locator(".results .tile-link").last();
    const title = (await found.locator(".tile-title").textContent())!;
    await found.click();
    await page.getByRole("heading", { name: title, exact: true, level: 1 }).waitFor();
    await page.goBack();
    await expect.poll(() => page.evaluate(() => scrollY), { timeout: patienceMs }).toBe(before);
    await page.setViewportSize({ width: 1440, height: 900 });
  });

  test("shows all results of a kind", async () => {
    await page.getByRole("link", { name: "See all: Tracks" }).click();
    await page.getByRole("heading", { name: "Tracks", exact: true, level: 1 }).waitFor();
    await page.locator(".track-title").first().waitFor();
    expect(Number(await page.locator(".track").first().getAttribute("aria-setsize"))).toBeGreaterThan(50);
  });

  test("can be opened by its address", async () => {
    const other = await stage.page({}, `/search?q=${encodeURIComponent("δρα")}`);
    await other.locator(".results .track-title").first().waitFor();
    expect(await other.getByRole("searchbox").inputValue()).toBe("δρα");
    await leave(other);
  });
});
