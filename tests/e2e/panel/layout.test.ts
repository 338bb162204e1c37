import type { Page } from "playwright-core";
import { afterAll, beforeAll, describe, expect, test, vi } from "vitest";
import type { PlayerStatus } from "../../../src/player/panel/api/types";
import { leave, patienceMs, shot, Stage, testLimitMs } from "./stage";

/** The layout of pages on screens of all sizes. */

const phone = { width: 390, height: 844 };
const desktop = { width: 1440, height: 900 };
const schemes = ["light", "dark"] as const;

let stage: Stage;
beforeAll(async () => {
  stage = await Stage.open();
  await stage.operate("queue/add", { path: "qobuz:favourites/tracks", from: 0, to: 39, where: "replace" });
  const until = (state: string): Promise<void> =>
    vi.waitFor(async () => expect((await stage.ask<PlayerStatus>("/api/player")).state).toBe(state), {
      timeout: patienceMs,
      interval: 50,
    });
  await until("playing");
  await stage.operate("pause", {});
  await until("paused");
}, testLimitMs);
afterAll(() => stage?.close(), testLimitMs);

/** Which of these elements cannot be seen as a whole without scrolling. */
const outOfView = (page: Page, selector: string): Promise<string[]> =>
  page.locator(selector).evaluateAll((all) =>
    all
      .filter((each) => {
        const { top, left, bottom, right } = each.getBoundingClientRect();
        return top < 0 || left < 0 || bottom > innerHeight + 0.5 || right > innerWidth + 0.5;
      })
      .map((each) => each.outerHTML.slice(0, 120)),
  );

/** Changes the title of the playing track in all responses and events that the page receives. */
async function playingTitle(page: Page, title: string): Promise<void> {
  await page.addInitScript((longTitle) => {
    const parse = JSON.parse;
    JSON.parse = (text: string) => {
      const value = parse(text) as { row?: { title?: string }; positionMs?: number };
      if (value && typeof value === "object" && value.row && "positionMs" in value)
        value.row.title = longTitle;
      return value;
    };
  }, title);
}

describe("the page of the playing track", { timeout: testLimitMs }, () => {
  const long =
    "The Unabridged Chronicle of a Slow Morning in the Harbour, Told Twice and Then Again, ".repeat(6);
  test.each([
    [320, 568],
    [390, 844],
    [844, 390],
    [1024, 768],
    [1440, 900],
    [2560, 1440],
  ])("has all its controls in view on %i by %i pixels, also with an endless title", async (width, height) => {
    for (const title of ["", long]) {
      const page = await stage.page({ viewport: { width, height } });
      if (title) await playingTitle(page, title);
      await page.goto(`${stage.url}/playing`);
      await page.locator(".now-cover img").waitFor();
      if (title) await page.getByRole("heading", { name: title.trim().slice(0, 40) }).waitFor();
      expect(
        await outOfView(
          page,
          ".now-track button, .now-track input, .now-track h1, .now-head button, .now-cover",
        ),
        `${width}x${height} ${title.slice(0, 20)}`,
      ).toEqual([]);
      const lines = await page.locator(".now-text h1").evaluate((heading) => {
        return heading.getBoundingClientRect().height / parseFloat(getComputedStyle(heading).lineHeight);
      });
      expect(lines).toBeLessThan(3.2);
      expect(
        await page.evaluate(() => document.documentElement.scrollWidth - innerWidth),
      ).toBeLessThanOrEqual(0);
      await shot(page, `playing${title ? "-long" : ""}-${width}x${height}`);
      await leave(page);
    }
  });

  test("has a cover that grows with the screen", async () => {
    const widthOn = async (width: number, height: number): Promise<number> => {
      const page = await stage.page({ viewport: { width, height } }, "/playing");
      const box = (await page.locator(".now-cover .cover").boundingBox())!;
      await leave(page);
      expect(Math.abs(box.width - box.height)).toBeLessThan(1.5);
      return box.width;
    };
    const small = await widthOn(1024, 768);
    const large = await widthOn(2560, 1440);
    expect(large).toBeGreaterThan(2 * small);
  });
});

describe("an outage of the service", { timeout: testLimitMs }, () => {
  const outage = { endpoint: "*", kind: "status", status: 503, count: -1 };

  test.each(schemes.flatMap((scheme) => [phone, desktop].map((viewport) => [scheme, viewport] as const)))(
    "is told once on the start page, in %s on %j, and one press brings everything back",
    async (colorScheme, viewport) => {
      await stage.fault(outage);
      const page = await stage.page({ colorScheme, viewport });
      const alert = page.getByRole("alert");
      await alert.waitFor();
      await expect.poll(() => page.locator(".section .empty").count(), { timeout: patienceMs }).toBe(4);
      expect(await alert.count()).toBe(1);
      expect(await alert.textContent()).toMatch(/isn’t available right now \(since \d\d?:\d\d\)/);
      expect(await page.getByRole("button", { name: "Try again" }).count()).toBe(1);
      await shot(page, `outage-${colorScheme}-${viewport.width}`);
      await stage.noFaults();
      await page.getByRole("button", { name: "Try again" }).click();
      await alert.waitFor({ state: "detached" });
      await expect.poll(() => page.locator(".section .empty").count(), { timeout: patienceMs }).toBe(0);
      await leave(page);
    },
  );

  test("is reported once by a search, and no texts overlap", async () => {
    const page = await stage.page({ viewport: { width: 2560, height: 1440 } }, "/search");
    await page.getByRole("searchbox").waitFor();
    await stage.fault(outage);
    await page.getByRole("searchbox").fill("sun");
    await page.getByRole("alert").waitFor();
    await expect.poll(() => page.locator(".section .empty").count(), { timeout: patienceMs }).toBe(4);
    expect(await page.getByRole("alert").count()).toBe(1);
    const boxes = await page
      .locator(".failure, .section h2")
      .evaluateAll((all) => all.map((each) => each.getBoundingClientRect()));
    expect(boxes.length).toBe(5);
    for (const a of boxes)
      for (const b of boxes)
        if (a !== b)
          expect(a.left >= b.right || b.left >= a.right || a.top >= b.bottom || b.top >= a.bottom).toBe(true);
    await shot(page, "search-outage-2560x1440");
    await stage.noFaults();
    await page.getByRole("button", { name: "Try again" }).click();
    await page.locator(".results .track").first().waitFor();
    await leave(page);
  });

  test("shows the error code if there is one", async () => {
    const page = await stage.page({}, "/account");
    await page.route("**/api/rows?*featured*", (request) =>
      request.fulfill({
        status: 502,
        contentType: "application/problem+json",
        body: JSON.stringify({ title: "Error", detail: "The cellar is flooded", status: 502, code: 503 }),
      }),
    );
    await page.goto(`${stage.url}/browse?path=qobuz%3Afeatured%2Falbums`);
    await page.getByRole("alert").locator("small").getByText("The cellar is flooded · Error 503").waitFor();
    await leave(page);
  });

  test("of the player itself stays in view while the page scrolls", async () => {
    const page = await stage.page({ viewport: phone }, "/browse?path=qobuz%3Afeatured%2Falbums");
    await page.locator(".tile:not(.skeleton)").first().waitFor();
    await page.evaluate(() => scrollTo(0, 3_000));
    await stage.stopPlayer();
    const line = page.getByText("The player isn’t responding. Trying again…");
    await line.waitFor();
    expect(await outOfView(page, ".connection p")).toEqual([]);
    await shot(page, "player-away-390");
    await stage.startPlayer();
    await line.waitFor({ state: "detached" });
    await leave(page);
  });
});

describe("a very wide screen", { timeout: testLimitMs }, () => {
  test("uses its width: more covers, menus with titles, a search in three columns", async () => {
    const page = await stage.page(
      { viewport: { width: 2560, height: 1440 } },
      "/browse?path=qobuz%3Afeatured%2Falbums",
    );
    const firstLine = page.locator(".virtual .tile");
    await page.locator(".tile:not(.skeleton)").first().waitFor();
    const tops = await firstLine.evaluateAll((all) => all.map((each) => each.getBoundingClientRect().top));
    expect(tops.filter((top) => top === tops[0]).length).toBeGreaterThanOrEqual(11);
    await shot(page, "albums-2560x1440");
    await page.goto(`${stage.url}/browse?path=qobuz%3Afavourites%2Ftracks`);
    const track = page.locator(".track:not(.skeleton)").first();
    await track.waitFor();
    const title = (await track.locator(".track-main").boundingBox())!;
    const more = (await track.locator(".more").boundingBox())!;
    expect(more.x - title.x).toBeLessThan(500);
    await shot(page, "tracks-2560x1440");
    await page.goto(`${stage.url}/search?q=sun`);
    await page.locator(".results .track").first().waitFor();
    await expect.poll(() => page.locator(".results .skeleton").count(), { timeout: patienceMs }).toBe(0);
    const lefts = await page
      .locator(".results > .section")
      .evaluateAll((all) => all.map((each) => Math.round(each.getBoundingClientRect().left)));
    expect(new Set(lefts).size).toBe(3);
    await shot(page, "search-2560x1440");
    await leave(page);
  });
});

describe("a shelf", { timeout: testLimitMs }, () => {
  test("has arrows for a mouse, does not scroll vertically, and does not move while a menu opens", async () => {
    const page = await stage.page();
    const shelf = page.locator(".shelf").first();
    await shelf.locator(".tile:not(.skeleton)").nth(8).waitFor();
    const along = (): Promise<number> => shelf.evaluate((each) => each.scrollLeft);
    const forward = page.locator(".shelf-arrow.behind").first();
    await shelf.hover();
    expect(await page.locator(".shelf-box").first().locator(".shelf-arrow.before").count()).toBe(0);
    await forward.click();
    await expect.poll(along, { timeout: patienceMs }).toBeGreaterThan(300);
    await page.locator(".shelf-box").first().locator(".shelf-arrow.before").waitFor();
    await shelf.evaluate((each) => (each.scrollTop = 50));
    expect(await shelf.evaluate((each) => each.scrollTop)).toBe(0);
    // Somewhere between two covers.
    await shelf.evaluate((each) => (each.scrollLeft = 137));
    const before = { along: await along(), down: await page.evaluate(() => scrollY) };
    await shelf.locator(".more").nth(3).click();
    await page.getByRole("menu").waitFor();
    expect({ along: await along(), down: await page.evaluate(() => scrollY) }).toEqual(before);
    await page.keyboard.press("Escape");
    await page.getByRole("menu").waitFor({ state: "detached" });
    expect({ along: await along(), down: await page.evaluate(() => scrollY) }).toEqual(before);
    await shelf.hover();
    await shot(page, "shelf-arrows-1440");
    await leave(page);
  });
});

describe("on a phone of 320 pixels", { timeout: testLimitMs }, () => {
  test.each(["en-GB", "de-DE", "fr-FR"])("no word is broken and no button wraps: %s", async (locale) => {
    const page = await stage.page({ viewport: { width: 320, height: 640 }, locale });
    for (const path of [
      "/",
      "/queue",
      "/account",
      "/search",
      "/playing",
      "/browse?path=qobuz%3Afavourites%2Ftracks",
    ]) {
      await page.goto(stage.url + path);
      await page.locator("h1").first().waitFor({ state: "attached" });
      await page.waitForFunction(() => !document.querySelector(".skeleton"));
      const broken = await page
        .locator("h1:not(.unseen), h2, .button, .tab, .tab-bar .entry > span, .quality strong")
        .evaluateAll((all) =>
          all
            .filter((each) => {
              const line = parseFloat(getComputedStyle(each).lineHeight) || 20;
              const words = (each.textContent ?? "").trim().split(/\s+/).length;
              const range = document.createRange();
              range.selectNodeContents(each);
              const tops = new Set(
                [...range.getClientRects()]
                  .filter(({ width }) => width > 1)
                  .map(({ bottom }) => Math.round(bottom / line)),
              );
              const isButton = each.matches(".button, .tab, .tab-bar .entry > span");
              return (
                each.scrollWidth > each.clientWidth + 1 ||
                (isButton && tops.size > 2) ||
                (words === 1 && tops.size > 2)
              );
            })
            .map((each) => each.textContent),
        );
      expect(broken, `${locale} ${path}`).toEqual([]);
      expect(
        await page.evaluate(() => document.documentElement.scrollWidth - innerWidth),
        `${locale} ${path}`,
      ).toBeLessThanOrEqual(0);
      await shot(page, `small-${locale.slice(0, 2)}${path.replace(/\W+/g, "-").slice(0, 20)}`);
    }
    await leave(page);
  });
});

describe("a page that loads", { timeout: testLimitMs }, () => {
  test.each([
    ["/", ".tile"],
    ["/search?q=summer", ".results .track"],
    ["/browse?path=qobuz%3Afeatured%2Falbums", ".tile"],
    ["/browse?path=qobuz%3Afavourites%2Ftracks", ".track"],
    ["/queue", ".queue-row"],
    ["/playing", ".now-cover img"],
    ["/account", ".quality"],
  ])("does not move visible content: %s", async (path, ready) => {
    for (const viewport of [phone, desktop]) {
      const page = await stage.page({ viewport }, "/account");
      await page.addInitScript(() => {
        const shifts: { value: number; what: string }[] = [];
        (window as unknown as { shifts: typeof shifts }).shifts = shifts;
        new PerformanceObserver((list) => {
          for (const entry of list.getEntries() as (PerformanceEntry & {
            value: number;
            hadRecentInput: boolean;
            sources: { node?: Element }[];
          })[])
            if (!entry.hadRecentInput)
              shifts.push({
                value: entry.value,
                what: entry.sources.map(({ node }) => node?.className ?? node?.nodeName).join(" | "),
              });
        }).observe({ type: "layout-shift", buffered: true });
      });
      // Rows may arrive before the data of their list.
      await page.route(
        (url) => url.pathname === "/api/data" && path.startsWith("/browse"),
        async (route) => {
          await page.locator(`${ready}:not(.skeleton)`).first().waitFor();
          await route.continue();
        },
      );
      await page.goto(stage.url + path);
      await page.locator(`${ready}:not(.skeleton)`).first().waitFor();
      await page.waitForFunction(() => !document.querySelector(".skeleton"));
      const shifts = await page.evaluate(
        () => (window as unknown as { shifts: { value: number; what: string }[] }).shifts,
      );
      const sum = shifts.reduce((total, { value }) => total + value, 0);
      console.log(`CLS of ${path} at ${viewport.width} pixels: ${sum.toFixed(4)}`);
      expect(sum, JSON.stringify(shifts)).toBeLessThan(0.02);
      await leave(page);
    }
  });
});
