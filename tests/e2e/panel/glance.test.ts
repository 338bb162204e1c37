import type { Page } from "playwright-core";
import { afterAll, beforeAll, describe, expect, test, vi } from "vitest";
import type { PlayerStatus, RowsAnswer } from "../../../src/player/panel/api/types";
import { leave, patienceMs, screens, shot, Stage, testLimitMs } from "./stage";

/** What listeners want at a glance: what they heard recently, their playlists, the sleep timer, the volume limit, the player itself. */

let stage: Stage;
const player = (): Promise<PlayerStatus> => stage.ask("/api/player");
const stands = (wanted: Partial<PlayerStatus>): Promise<void> =>
  vi.waitFor(async () => expect(await player()).toMatchObject(wanted), { timeout: patienceMs, interval: 50 });
const until = (what: () => unknown) => expect.poll(what, { timeout: patienceMs });

/** A picture of the page on every screen; `ready` waits for what the picture is about. */
async function shots(page: Page, name: string, ready: () => Promise<unknown>): Promise<void> {
  for (const [screen, { viewport, colorScheme }] of screens) {
    await page.setViewportSize(viewport);
    await page.emulateMedia({ colorScheme, reducedMotion: "reduce" });
    await ready();
    await shot(page, `${name}-${screen}`);
  }
}

beforeAll(async () => {
  stage = await Stage.open();
}, testLimitMs);
afterAll(() => stage?.close(), testLimitMs);

describe("the start page", { timeout: testLimitMs }, () => {
  test("begins with what was played recently, the latest first, and nothing moves when it comes", async () => {
    const { rows } = await stage.ask<RowsAnswer>("/api/rows?path=qobuz%3Afeatured%2Falbums&from=0&to=2");
    for (const row of rows.slice(0, 2)) {
      await stage.operate("queue/add", { path: row.path, where: "replace" });
      await stands({ state: "playing" });
      await until(async () =>
        (await stage.ask<{ items: { row: { path?: string } }[] }>("/api/history")).items.some(
          (item) => item.row.path === row.path,
        ),
      ).toBe(true);
    }
    await stage.operate("pause", {});
    await stands({ state: "paused" });
    const page = await stage.page();
    const shelf = page.getByRole("list", { name: "Recently played" });
    const titles = () => shelf.locator(".tile-title").allTextContents();
    await until(titles).toEqual([rows[1]!.title, rows[0]!.title]);
    expect(await page.locator("h2").first().textContent()).toContain("Recently played");
    await shots(page, "recent-home", () => shelf.waitFor());

    await page.getByRole("link", { name: "Recently played" }).click();
    await page.getByRole("heading", { name: "Recently played", level: 1 }).waitFor();
    await page.locator(".track .track-title").first().waitFor();
    await shots(page, "recent", () => page.locator(".track .track-title").first().waitFor());
    await page.getByRole("button", { name: "Clear history" }).click();
    await page.getByText("There is nothing here yet.").waitFor();
    await page.goto(stage.url);
    await page.locator(".tile:not(.skeleton)").first().waitFor();
    expect(await shelf.count()).toBe(0);
    await leave(page);
  });

  test("has the listener's own playlists beside it", async () => {
    const { rows } = await stage.ask<RowsAnswer>("/api/rows?path=qobuz%3Aplaylists&from=0&to=4");
    const page = await stage.page();
    const own = page.getByRole("group", { name: "My Playlists" });
    await own.waitFor();
    expect((await own.getByRole("link").allTextContents()).slice(0, rows.length)).toEqual(
      rows.map(({ title }) => title),
    );
    await own.getByRole("link").first().click();
    await page.getByRole("heading", { name: rows[0]!.title!, level: 1 }).waitFor();
    await until(() => own.getByRole("link").first().getAttribute("aria-current")).toBe("page");
    await shots(page, "own-playlists", () => page.locator(".track:not(.skeleton)").first().waitFor());
    await leave(page);
  });
});

describe("the sleep timer", { timeout: testLimitMs }, () => {
  test("is in the bar and beside the playing track, says how long it has, and is turned off there", async () => {
    await stage.operate("queue/add", { path: "qobuz:favourites/tracks", from: 0, to: 9, where: "replace" });
    await stands({ state: "playing" });
    await stage.operate("pause", {});
    await stands({ state: "paused" });
    const page = await stage.page({}, "/queue");
    const bar = page.getByRole("region", { name: "Now playing" });
    await bar.getByRole("button", { name: "Sleep timer" }).click();
    await page.getByRole("menuitem", { name: /^In 30 min/ }).click();
    await until(async () => (await player()).sleep?.at).toBe("time");
    await bar.getByRole("button", { name: /^Sleep timer: (30|29) mins?$/ }).waitFor();

    await page.goto(`${stage.url}/playing`);
    const button = page.locator(".now-head").getByRole("button", { name: /^Sleep timer: / });
    await button.waitFor();
    await shots(page, "sleep", () => button.waitFor());
    await shots(page, "sleep-menu", async () => {
      await page.keyboard.press("Escape");
      await page.getByRole("menu").waitFor({ state: "detached" });
      await button.click();
      await page.getByRole("menu").waitFor();
    });
    await page.getByRole("menuitem", { name: "At the end of the track" }).click();
    await until(async () => (await player()).sleep).toEqual({ at: "track" });
    await page.getByRole("button", { name: "Sleep timer: At the end of the track" }).click();
    await page.getByRole("menuitem", { name: "Turn off" }).click();
    await until(async () => (await player()).sleep).toBe(null);
    await page.getByRole("button", { name: "Sleep timer", exact: true }).waitFor();
    await leave(page);
  });
});

describe("the volume limit", { timeout: testLimitMs }, () => {
  test("is set on the account page, and the volume slider ends there", async () => {
    const page = await stage.page({}, "/account");
    const limit = page.getByRole("slider", { name: "Volume limit" });
    await limit.waitFor();
    await limit.fill("60");
    await stands({ volumeLimitPercent: 60, volumePercent: 60 });
    await until(() => page.getByRole("slider", { name: "Volume", exact: true }).getAttribute("max")).toBe(
      "60",
    );
    await page.getByText("60%", { exact: true }).waitFor();
    await limit.scrollIntoViewIfNeeded();
    await shots(page, "volume-limit", () => limit.scrollIntoViewIfNeeded());
    await limit.fill("100");
    await stands({ volumeLimitPercent: 100 });
    await leave(page);
  });
});

describe("the page about the player", { timeout: testLimitMs }, () => {
  test("says its version, service and quality, and that a local address is no use to a phone", async () => {
    const page = await stage.page({}, "/account");
    await page.getByRole("link", { name: "About this player" }).click();
    await page.getByRole("heading", { name: "About this player", level: 1 }).waitFor();
    const facts = await page.locator(".facts").textContent();
    expect(facts).toContain(stage.command(["--version"]).match(/\d+\.\d+\.\d+/)![0]);
    expect(facts).toContain("Qobuz");
    await page.getByText(stage.url, { exact: true }).waitFor();
    await page.getByText(/^This address works only on this device/).waitFor();
    expect(await page.locator(".qr").count()).toBe(0);
    await shots(page, "about-local", () => page.locator(".facts").waitFor());
    await leave(page);
  });

  test("has a code for a phone where it was opened by a network address, and lists who is logged in", async () => {
    const address = "http://music.home.example";
    const network = await Stage.open({ password: "correct horse", origin: address });
    try {
      const page = await network.page({}, "/about");
      await page.getByLabel("Password", { exact: true }).fill("correct horse");
      await page.getByRole("button", { name: "Log in" }).click();
      await page.getByText(address, { exact: true }).waitFor();
      const code = page.getByRole("img", { name: `QR code for ${address}` });
      await code.waitFor();
      const [, , size] = (await code.getAttribute("viewBox"))!.split(" ").map(Number);
      expect(size).toBeGreaterThanOrEqual(21);
      await page.getByText("This device", { exact: true }).waitFor();
      await shots(page, "about", () => code.waitFor());
      await leave(page);
    } finally {
      await network.close();
    }
  });
});
