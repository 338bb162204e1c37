import { readFileSync } from "node:fs";
import { createRequire } from "node:module";
import type { BrowserContextOptions, Page } from "playwright-core";
import { afterAll, beforeAll, describe, expect, test, vi } from "vitest";
import type { RowsAnswer } from "../../../src/player/panel/api/types";
import { browseUrl } from "../../../src/player/panel/model/routes";
import { de } from "../../../src/player/panel/texts/de";
import { en, type Texts } from "../../../src/player/panel/texts/en";
import { fr } from "../../../src/player/panel/texts/fr";
import { leave, patienceMs, shot, Stage, testLimitMs } from "./stage";

const axe = readFileSync(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");

interface Finding {
  id: string;
  impact: string;
  nodes: { html: string; failureSummary: string }[];
}

/** The serious findings of an accessibility check. */
async function findings(page: Page): Promise<string[]> {
  await page.evaluate(axe);
  const found = await page.evaluate(async () => {
    const { violations } = await (
      window as unknown as { axe: { run: () => Promise<{ violations: Finding[] }> } }
    ).axe.run();
    return violations;
  });
  return found
    .filter(({ impact }) => impact === "serious" || impact === "critical")
    .map(({ id, nodes }) => `${id}, ${nodes.length} times: ${nodes[0]!.html}\n${nodes[0]!.failureSummary}`);
}

const devices: [string, BrowserContextOptions][] = [
  ["phone", { viewport: { width: 390, height: 844 }, deviceScaleFactor: 2, isMobile: true, hasTouch: true }],
  ["desktop", { viewport: { width: 1440, height: 900 } }],
];
const schemes = ["light", "dark"] as const;
const everywhere = devices.flatMap(([device, options]) =>
  schemes.map((scheme): [string, BrowserContextOptions] => [
    `${device}-${scheme}`,
    { ...options, colorScheme: scheme },
  ]),
);

let stage: Stage;
let views: [string, string, (page: Page) => Promise<unknown>][];

beforeAll(async () => {
  stage = await Stage.open();
  const rows = async (path: string): Promise<RowsAnswer> =>
    stage.ask(`/api/rows?path=${encodeURIComponent(path)}&from=0&to=19`);
  const albums = (await rows("qobuz:featured/albums")).rows;
  const artist = (await rows("qobuz:featured/artists")).rows[0]!;
  const playlist = (await rows("qobuz:playlists")).rows[0]!;
  // Something plays, paused in its middle, so that the pictures are the same each time.
  await stage.operate("queue/add", {
    path: "qobuz:favourites/tracks",
    from: 0,
    to: 39,
    where: "replace",
    startAt: 1,
  });
  await vi.waitFor(
    async () => expect((await stage.ask<{ state: string }>("/api/player")).state).toBe("playing"),
    { timeout: patienceMs, interval: 50 },
  );
  await stage.operate("pause", {});
  await vi.waitFor(
    async () => expect((await stage.ask<{ state: string }>("/api/player")).state).toBe("paused"),
    { timeout: patienceMs, interval: 50 },
  );
  await stage.operate("seek", { positionMs: 5_000 });
  const tile = (page: Page) => page.locator(".tile:not(.skeleton)").first().waitFor();
  const track = (page: Page) => page.locator(".track:not(.skeleton)").first().waitFor();
  views = [
    ["home", "/", tile],
    ["albums", browseUrl("qobuz:featured/albums"), tile],
    ["artist", browseUrl(artist.path!, artist.title), tile],
    ["album", browseUrl(albums[0]!.path!, albums[0]!.title), track],
    ["playlist", browseUrl(playlist.path!, playlist.title), track],
    ["tracks", browseUrl("qobuz:favourites/tracks"), track],
    ["search", "/search?q=summer", track],
    ["playing", "/playing", (page) => page.getByRole("heading", { level: 1 }).waitFor()],
    ["queue", "/queue", (page) => page.locator(".queue-row").first().waitFor()],
    ["account", "/account", (page) => page.getByText(/logged in as/).waitFor()],
  ];
}, testLimitMs);
afterAll(() => stage?.close(), testLimitMs);

describe.each(everywhere)("on a %s screen", { timeout: testLimitMs }, (name, options) => {
  test("every view is complete and accessible", async () => {
    const page = await stage.page(options);
    const wrong: Record<string, string[]> = {};
    for (const [view, url, ready] of views) {
      await page.goto(stage.url + url);
      await ready(page);
      await page.getByRole("region", { name: "Now playing" }).or(page.locator(".now")).first().waitFor();
      await shot(page, `${view}-${name}`);
      const found = await findings(page);
      if (found.length > 0) wrong[view] = found;
      expect(
        await page.evaluate(() => document.documentElement.scrollWidth - innerWidth),
        `${view} is wider than the screen`,
      ).toBeLessThanOrEqual(0);
    }
    await page.goto(`${stage.url}${views[1]![1]}`);
    await tileMenu(page);
    await shot(page, `menu-${name}`);
    const look = async (view: string): Promise<void> => {
      const found = await findings(page);
      if (found.length > 0) wrong[view] = found;
    };
    await look("menu");

    // Nothing is really added: the next pictures show the same queue.
    const added = { status: 202, json: { revision: 1, count: 1 } };
    await page.route("**/api/player/queue/add*", (request) => request.fulfill(added));
    await page.getByRole("menuitem", { name: "Add to queue" }).click();
    await page.locator(".notice.info").waitFor();
    await page.unroute("**/api/player/queue/add*");
    await page.route("**/api/**", (request) => request.abort());
    await page
      .getByRole("region", { name: "Now playing" })
      .getByRole("button", { name: "Play" })
      .last()
      .click();
    await page.locator(".notice.error").waitFor();
    await shot(page, `notices-${name}`);
    await look("notices");

    await page.goto(`${stage.url}${views[1]![1]}`);
    await page.getByRole("alert").waitFor();
    await look("nothing loaded");
    await page.unroute("**/api/**");
    await page.goto(`${stage.url}/nowhere`);
    await page.getByRole("heading", { name: "Page not found" }).waitFor();
    await look("no such page");
    await leave(page);
    expect(wrong).toEqual({});
  });
});

const menu = ["Discover", "My Playlists", "Favourites", "Purchases", "Artists", "Tracks"];
/** The browser's language, the panel's texts in it, and texts that must not be there. */
const languages: [string, Texts, Texts[], string[]][] = [
  ["de-DE", de, [en, fr], [...menu, "Albums"]],
  ["fr-FR", fr, [en, de], menu],
];
const plain = (texts: Texts): string[] =>
  Object.values(texts).filter((text): text is string => typeof text === "string");

describe.each(languages)("in the language %s", { timeout: testLimitMs }, (locale, own, others, words) => {
  test("every text is translated, and fits a phone", async () => {
    const page = await stage.page({ ...devices[0]![1], locale });
    const foreign = new Set([...others.flatMap(plain), ...words]);
    for (const text of plain(own)) foreign.delete(text);
    for (const [view, url, ready] of views) {
      await page.goto(stage.url + url);
      await (view === "account" ? page.locator("input[name=quality]").first().waitFor() : ready(page));
      const said = await page.evaluate(() => {
        const texts = [document.title];
        const walk = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
        while (walk.nextNode()) texts.push(walk.currentNode.textContent ?? "");
        for (const element of document.querySelectorAll("[aria-label],[placeholder],[title]"))
          for (const name of ["aria-label", "placeholder", "title"])
            texts.push(element.getAttribute(name) ?? "");
        return texts.map((text) => text.trim()).filter(Boolean);
      });
      expect(
        said.filter((text) => foreign.has(text)),
        `${view} in another language`,
      ).toEqual([]);
      expect(
        await page.evaluate(() => document.documentElement.scrollWidth - innerWidth),
        `${view} is wider than the screen`,
      ).toBeLessThanOrEqual(0);
    }
    await leave(page);
  });
});

async function tileMenu(page: Page): Promise<void> {
  await page.locator(".tile:not(.skeleton) .more").first().click();
  await page.getByRole("dialog").waitFor();
}

describe("without a pointer", { timeout: testLimitMs }, () => {
  test("an album is found and played with the keyboard only", async () => {
    const page = await stage.page();
    await page.locator(".tile:not(.skeleton)").first().waitFor();
    const focused = (): Promise<string> =>
      page.evaluate(
        () => document.activeElement?.getAttribute("aria-label") ?? document.activeElement?.textContent ?? "",
      );
    const tabTo = async (what: RegExp): Promise<void> => {
      for (let presses = 0; presses < 80; ++presses) {
        await page.keyboard.press("Tab");
        if (what.test(await focused())) return;
      }
      throw new Error(`${what} cannot be reached`);
    };
    await page.keyboard.press("Tab");
    expect(await focused()).toBe("Skip to player");
    await page.keyboard.press("Tab");
    expect(await focused()).toBe("Skip to content");
    await page.keyboard.press("Enter");
    await tabTo(/^See all: Discover, Albums$/);
    await page.keyboard.press("Enter");
    await page.getByRole("heading", { name: "Albums", level: 1 }).waitFor();
    await page.locator(".tile:not(.skeleton)").first().waitFor();
    await tabTo(/^More options for /);
    await page.keyboard.press("Enter");
    await page.getByRole("dialog").waitFor();
    await page.keyboard.press("Escape");
    await page.getByRole("dialog").waitFor({ state: "detached" });
    expect(await focused()).toMatch(/^More options for /);
    await page.keyboard.press("Shift+Tab");
    expect(await focused()).toMatch(/^Play /);
    await page.keyboard.press("Enter");
    await expect
      .poll(async () => (await stage.ask<{ state: string }>("/api/player")).state, { timeout: patienceMs })
      .toBe("playing");
    await leave(page);
  });
});

describe("at the first start", { timeout: testLimitMs }, () => {
  beforeAll(async () => {
    await stage.stopPlayer();
    stage.command(["logout"]);
    await stage.startPlayer();
  }, testLimitMs);

  test.each(everywhere)("the welcome stands on a %s screen", async (name, options) => {
    const page = await stage.page(options);
    await page.getByRole("heading", { name: "Welcome" }).waitFor();
    await shot(page, `welcome-${name}`);
    expect(await findings(page)).toEqual([]);
    await leave(page);
  });
});
