import type { Page } from "playwright-core";
import { afterAll, beforeAll, describe, expect, test } from "vitest";
import type { RowsAnswer } from "../../../src/player/panel/api/types";
import { browseUrl } from "../../../src/player/panel/model/routes";
import { leave, patienceMs, Stage, testLimitMs } from "./stage";

let stage: Stage;
let page: Page;
beforeAll(async () => {
  stage = await Stage.open({ sandbox: ["--featured-albums", "12000"] });
  page = await stage.page();
}, testLimitMs);
afterAll(() => stage?.close(), testLimitMs);

const heading = (name: string) => page.getByRole("heading", { name, exact: true, level: 1 });
const browse = (path: string): Promise<unknown> =>
  page.goto(`${stage.url}/browse?path=${encodeURIComponent(path)}`);
const firstTile = () => page.locator(".tile-link").first();
const crumbs = async (on = page): Promise<string[]> =>
  on.getByRole("navigation", { name: "Breadcrumbs" }).getByRole("listitem").allTextContents();

describe("browsing", { timeout: testLimitMs }, () => {
  test("starts with the branches of the menu, and the first rows of each", async () => {
    for (const name of ["Discover", "My Playlists", "Favourites", "Purchases"])
      await page.getByRole("heading", { name, level: 2 }).waitFor();
    await page.getByRole("list", { name: "Albums" }).first().getByRole("listitem").first().waitFor();
    await page.getByRole("button", { name: "Artists" }).first().click();
    await page.getByRole("list", { name: "Artists" }).first().getByRole("listitem").first().waitFor();
  });

  test.each([
    ["featured/albums", "Albums", ".tile", ["Home", "Discover", "Albums"]],
    ["featured/artists", "Artists", ".tile.round", ["Home", "Discover", "Artists"]],
    ["featured/playlists", "Playlists", ".tile", ["Home", "Discover", "Playlists"]],
    ["playlists", "My Playlists", ".tile", ["Home", "My Playlists"]],
    ["favourites/tracks", "Tracks", ".track-title", ["Home", "Favourites", "Tracks"]],
    ["favourites/albums", "Albums", ".tile", ["Home", "Favourites", "Albums"]],
    ["favourites/artists", "Artists", ".tile.round", ["Home", "Favourites", "Artists"]],
    ["purchases/tracks", "Tracks", ".track-title", ["Home", "Purchases", "Tracks"]],
    ["purchases/albums", "Albums", ".tile", ["Home", "Purchases", "Albums"]],
  ])("shows %s, opened by its address alone", async (base, title, cell, expected) => {
    await page.evaluate(() => sessionStorage.clear());
    await browse(`qobuz:${base}`);
    await heading(title).waitFor();
    await page.locator(`${cell}:not(.skeleton)`).first().waitFor();
    await expect.poll(() => crumbs(), { timeout: patienceMs }).toEqual(expected);
    expect(await page.title()).toBe(`${title} · Pelk`);
  });

  test("requests each range once", async () => {
    await page.goto(`${stage.url}/account`);
    await page.getByText(/logged in as/).waitFor();
    await stage.sandboxAnswers("requests", "DELETE");
    await browse("qobuz:featured/albums");
    await firstTile().waitFor();
    await page.goto(`${stage.url}/account`);
    await page.getByText(/logged in as/).waitFor();
    expect((await stage.calls("catalog/getFeatured")).map(String)).toEqual(["offset=0&limit=50&type=albums"]);
  });

  test("leads from an artist to an album to its tracks, and back with the browser's button", async () => {
    await browse("qobuz:featured/artists");
    const artist = (await firstTile().locator(".tile-title").textContent())!;
    await firstTile().click();
    await heading(artist).waitFor();
    const album = (await firstTile().locator(".tile-title").textContent())!;
    await firstTile().click();
    await heading(album).waitFor();
    await page.locator(".track-title").first().waitFor();
    expect(await page.locator(".track-number").first().textContent()).toBe("1");
    await expect
      .poll(() => crumbs(), { timeout: patienceMs })
      .toEqual(["Home", "Discover", "Artists", artist, album]);
    const address = page.url();

    await page.goBack();
    await heading(artist).waitFor();
    await page.goBack();
    await heading("Artists").waitFor();
    await page.goForward();
    await heading(artist).waitFor();

    // The address says all that another browser needs.
    const other = await stage.page({}, address.slice(stage.url.length));
    await other.getByRole("heading", { name: album, exact: true, level: 1 }).waitFor();
    await other.locator(".track-title").first().waitFor();
    await leave(other);
  });

  test("shows complete breadcrumbs for an artist, even if a part was still loading when the page was left", async () => {
    const other = await stage.page({}, "/account");
    let name = (): void => undefined;
    const named = new Promise<void>((done) => (name = done));
    await other.route("**/api/data?*", async (request) => {
      await named;
      await request.continue();
    });
    await other.goto(`${stage.url}/browse?path=${encodeURIComponent("qobuz:featured/artists")}`);
    const first = other.locator(".tile-link").first();
    const artist = (await first.locator(".tile-title").textContent())!;
    await first.click();
    await other.getByRole("heading", { name: artist, exact: true, level: 1 }).waitFor();
    expect(await crumbs(other)).not.toContain("Artists");
    name();
    await expect
      .poll(() => crumbs(other), { timeout: patienceMs })
      .toEqual(["Home", "Discover", "Artists", artist]);
    await leave(other);
  });

  test("returns to the position at which a list was left", async () => {
    await browse("qobuz:featured/albums");
    await firstTile().waitFor();
    await page.evaluate(() => scrollTo(0, 20_000));
    /** The index of an album that is completely visible; 0 if there is none. */
    const placeInView = (): Promise<number> =>
      page.locator(".tile:not(.skeleton)").evaluateAll((tiles) => {
        const seen = tiles.find((tile) => {
          const { top, bottom } = tile.getBoundingClientRect();
          return top > 0 && bottom < innerHeight - 150;
        });
        return Number(seen?.getAttribute("aria-posinset") ?? 0);
      });
    await expect.poll(placeInView, { timeout: patienceMs }).toBeGreaterThan(100);
    const before = await page.evaluate(() => scrollY);
    const inView = page.locator(`.tile[aria-posinset="${await placeInView()}"] .tile-link`);
    const title = (await inView.locator(".tile-title").textContent())!;
    await inView.click();
    await heading(title).waitFor();
    expect(await page.evaluate(() => scrollY)).toBe(0);
    await page.goBack();
    await heading("Albums").waitFor();
    await expect.poll(() => page.evaluate(() => scrollY), { timeout: patienceMs }).toBe(before);
    await page.locator(".tile-title", { hasText: title }).first().waitFor();
  });

  test("restores a start page: its position, its lists, and their positions", async () => {
    await page.setViewportSize({ width: 390, height: 844 });
    await page.goto(stage.url);
    const discover = page.locator(".section").first();
    await discover.getByRole("button", { name: "Artists" }).click();
    await discover.getByRole("list", { name: "Artists" }).getByRole("listitem").first().waitFor();
    const lists = page.locator(".section").nth(1).locator(".shelf");
    await lists.locator(".tile:not(.skeleton)").nth(5).waitFor();
    await lists.evaluate((element) => (element.scrollLeft = 500));
    const along = await lists.evaluate((element) => element.scrollLeft);
    expect(along).toBeGreaterThan(300);
    await page.locator(".section").last().locator(".track:not(.skeleton)").first().waitFor();
    // Rows that are still loading change the length of the page.
    await expect.poll(() => page.locator(".skeleton").count(), { timeout: patienceMs }).toBe(0);
    const down = (): Promise<number> => page.evaluate(() => scrollY);
    await page.evaluate(() => scrollTo(0, document.documentElement.scrollHeight));
    const before = await down();
    expect(before).toBeGreaterThan(300);
    // The position of the page is stored once it has stopped scrolling.
    const noted = (): Promise<unknown> => page.evaluate(() => JSON.stringify(history.state));
    await expect.poll(noted, { timeout: patienceMs }).toContain(`"shelf qobuz:playlists":${along}`);
    await page.locator(".section").last().getByRole("link").first().click();
    await heading("Purchases").waitFor();
    expect(await down()).toBe(0);
    await page.goBack();
    await expect.poll(down, { timeout: patienceMs }).toBe(before);
    expect(await lists.evaluate((element) => element.scrollLeft)).toBe(along);
    expect(await discover.locator('.tab[aria-pressed="true"]').textContent()).toBe("Artists");
    await page.setViewportSize({ width: 1440, height: 900 });
  });

  test("scrolls through a list of 12,000 albums to its end, and keeps only nearby rows", async () => {
    const path = "qobuz:featured/albums";
    const { count } = await stage.ask<RowsAnswer>(`/api/rows?path=${encodeURIComponent(path)}&from=0&to=0`);
    expect(count).toBe(12_000);
    await stage.sandboxAnswers("requests", "DELETE");
    await page.setViewportSize({ width: 1440, height: 900 });
    await browse(path);
    await firstTile().waitFor();
    const last = page.locator(`[aria-posinset="${count}"]:not(.skeleton) .tile-title`);
    await expect
      .poll(
        async () => {
          await page.evaluate(() => scrollTo(0, document.documentElement.scrollHeight));
          return last.count();
        },
        { timeout: patienceMs },
      )
      .toBe(1);
    expect(await page.locator(".tile").count()).toBeLessThan(120);
    // Rows that were scrolled past were not requested, only some ranges at the top and the end.
    const asked = (await stage.calls("catalog/getFeatured")).length;
    expect(asked).toBeLessThan(20);
  });

  test("shows a list whose ranges arrive in any order, every row in its place", async () => {
    await browse("qobuz:favourites/tracks");
    await page.locator(".track-title").first().waitFor();
    for (const at of [300, 777, 1_299]) {
      await page.evaluate((row) => {
        const list = document.querySelector(".virtual")!;
        scrollTo(0, list.getBoundingClientRect().top + scrollY + row * 60 - 200);
      }, at);
      const title = page.locator(`[aria-posinset="${at + 1}"] .track-title`);
      await title.waitFor();
      const { rows } = await stage.ask<{ rows: { title: string }[] }>(
        `/api/rows?path=qobuz%3Afavourites%2Ftracks&from=${at}&to=${at}`,
      );
      expect((await title.textContent())!.trim()).toBe(rows[0]!.title.trim() || "Untitled");
    }
  });

  test("offers a retry for a range that failed, and keeps the loaded rows", async () => {
    await browse("qobuz:purchases/tracks");
    await page.locator(".track-title").first().waitFor();
    await stage.fault({
      endpoint: "purchase/getUserPurchases",
      kind: "status",
      status: 503,
      message: "Closed for lunch",
      count: 1,
    });
    await page.evaluate(() => scrollTo(0, document.documentElement.scrollHeight));
    const failed = page.locator(".failed-row").first();
    await failed.waitFor();
    expect(await failed.textContent()).toContain("Closed for lunch");
    await failed.getByRole("button", { name: "Try again" }).click();
    await page.locator('[aria-posinset="58"] .track-title').waitFor();
    await page.evaluate(() => scrollTo(0, 0));
    await page.locator('[aria-posinset="1"] .track-title').waitFor();
  });

  test("says why a list could not be loaded, and retries", async () => {
    await stage.fault({
      endpoint: "favorite/getUserFavorites",
      kind: "status",
      status: 500,
      message: "The cellar is flooded",
      count: 1,
    });
    await browse("qobuz:favourites/albums");
    const failure = page.getByRole("alert");
    await failure.waitFor();
    expect(await failure.textContent()).toContain("The cellar is flooded");
    await failure.getByRole("button", { name: "Try again" }).click();
    await firstTile().waitFor();
  });

  test("does not freeze while the service is slow, and shows rows as they arrive", async () => {
    await stage.fault({ endpoint: "*", kind: "delay", ms: 1500, count: -1 });
    await page.goto(stage.url);
    await page.locator(".skeleton").first().waitFor();
    await page.getByRole("link", { name: "Account" }).first().click();
    await page.getByRole("heading", { name: "Account" }).waitFor();
    await page.goBack();
    await firstTile().waitFor();
    await stage.noFaults();
  });

  test("shows a placeholder for a missing cover", async () => {
    await stage.fault({ endpoint: "cover", kind: "status", status: 404, count: -1 });
    const other = await stage.page({}, "/browse?path=qobuz%3Apurchases%2Falbums");
    await other.locator(".tile:not(.skeleton) .cover > .icon").first().waitFor();
    expect(await other.locator(".tile-title").first().isVisible()).toBe(true);
    await expect.poll(() => other.locator(".tile .cover > img").count(), { timeout: patienceMs }).toBe(0);
    await stage.noFaults();
    await leave(other);
  });

  test("keeps the loaded rows while the service is unavailable, and continues when it is back", async () => {
    await browse("qobuz:favourites/albums");
    await firstTile().waitFor();
    await stage.stopService();
    const title = (await firstTile().locator(".tile-title").textContent())!;
    await firstTile().click();
    await page.getByRole("alert").waitFor();
    await page.goBack();
    await page.locator(".tile-title", { hasText: title }).first().waitFor();
    await stage.startService();
    await firstTile().click();
    const again = page.getByRole("button", { name: "Try again" });
    await expect
      .poll(
        async () => {
          if (await again.isVisible()) await again.click().catch(() => undefined);
          return page.locator(".track-title").count();
        },
        { timeout: patienceMs },
      )
      .toBeGreaterThan(0);
  });

  test("says that the player is not responding, and reconnects by itself", async () => {
    await browse("qobuz:featured/albums");
    await firstTile().waitFor();
    await stage.stopPlayer();
    await page.getByText("The player isn’t responding. Trying again…").waitFor();
    expect(await firstTile().isVisible()).toBe(true);
    await stage.startPlayer();
    await page.getByText("The player isn’t responding. Trying again…").waitFor({ state: "detached" });
    await firstTile().click();
    await page.locator(".track-title").first().waitFor();
  });

  test("shows an album as one even if its row has not been loaded before", async () => {
    const path = "qobuz:featured/albums";
    const { rows } = await stage.ask<RowsAnswer>(`/api/rows?path=${encodeURIComponent(path)}&from=0&to=0`);
    const album = rows[0]!;
    await stage.stopPlayer();
    await stage.startPlayer();
    const other = await stage.page({}, browseUrl(album.path!, album.title));
    await other.getByRole("heading", { name: album.title!, exact: true, level: 1 }).waitFor();
    await other.locator(".head .eyebrow").getByText("Album").waitFor();
    expect(await other.locator(".head .cover img").getAttribute("src")).toBe(album.icon);
    expect(await other.locator(".track-number").first().textContent()).toBe("1");
    await leave(other);
  });

  test("says so if a list is empty", async () => {
    await page.goto(`${stage.url}/nowhere`);
    await page.getByText("Page not found").waitFor();
    await page.getByRole("link", { name: "Go to Home" }).click();
    await page.getByRole("heading", { name: "Discover" }).waitFor();
  });
});
