import type { Page } from "playwright-core";
import { afterAll, beforeAll, describe, expect, test, vi } from "vitest";
import type { PlayerStatus } from "../../../src/player/panel/api/types";
import { leave, patienceMs, shot, Stage, testLimitMs } from "./stage";

/** The player operated by single keys. */

let stage: Stage;
let page: Page;
const player = (): Promise<PlayerStatus> => stage.ask("/api/player");
const stands = (wanted: Partial<PlayerStatus>): Promise<void> =>
  vi.waitFor(async () => expect(await player()).toMatchObject(wanted), { timeout: patienceMs, interval: 50 });
const until = (what: () => unknown) => expect.poll(what, { timeout: patienceMs });

beforeAll(async () => {
  stage = await Stage.open();
  // A track that is long enough to be sought in.
  const path = "qobuz:favourites/tracks";
  await stage.operate("queue/add", { path, from: 0, to: 39, where: "replace" });
  await stands({ state: "playing" });
  for (let tries = 0; (await player()).durationMs < 25_000 && tries < 30; ++tries) {
    const { entry } = await player();
    await stage.operate("next", {});
    await vi.waitFor(async () => expect((await player()).entry).not.toBe(entry), { timeout: patienceMs });
    await stands({ state: "playing" });
  }
  await stage.operate("pause", {});
  await stands({ state: "paused" });
  await stage.operate("seek", { positionMs: 0 });
  page = await stage.page();
  await page.locator(".tile:not(.skeleton)").first().waitFor();
}, testLimitMs);
afterAll(() => stage?.close(), testLimitMs);

const position = async (): Promise<number> => Math.round((await player()).positionMs / 1000);

describe("a key", { timeout: testLimitMs }, () => {
  test("seeks by ten seconds: the arrows, J and L", async () => {
    await page.keyboard.press("ArrowRight");
    await until(position).toBe(10);
    await page.keyboard.press("l");
    await until(position).toBe(20);
    await page.keyboard.press("ArrowLeft");
    await until(position).toBe(10);
    await page.keyboard.press("j");
    await until(position).toBe(0);
  });

  test("sets the volume: arrows with Shift, and arrows alone if the page does not scroll", async () => {
    await stage.operate("volume", { percent: 50 });
    const shown = page.getByRole("slider", { name: "Volume" });
    await until(() => shown.inputValue()).toBe("50");
    await page.keyboard.press("Shift+ArrowUp");
    await until(async () => (await player()).volumePercent).toBe(55);
    await page.keyboard.press("ArrowDown");
    await until(() => page.evaluate(() => scrollY)).toBeGreaterThan(0);
    expect((await player()).volumePercent).toBe(55);
    const small = await stage.page({ viewport: { width: 390, height: 844 } }, "/playing");
    await until(() => small.getByRole("slider", { name: "Volume" }).inputValue()).toBe("55");
    await small.keyboard.press("ArrowDown");
    await until(async () => (await player()).volumePercent).toBe(50);
    await leave(small);
  });

  test("mutes, shuffles and repeats: M, S, R", async () => {
    await page.keyboard.press("m");
    await until(async () => (await player()).muted).toBe(true);
    await page.getByRole("button", { name: "Unmute" }).waitFor();
    await page.keyboard.press("m");
    await until(async () => (await player()).muted).toBe(false);
    await page.keyboard.press("s");
    await until(async () => (await player()).shuffle).toBe(true);
    await page.getByRole("button", { name: "Shuffle", pressed: true }).waitFor();
    await page.keyboard.press("s");
    await until(async () => (await player()).shuffle).toBe(false);
    await page.keyboard.press("r");
    await until(async () => (await player()).repeat).toBe("all");
    await page.getByRole("button", { name: "Repeat: the queue" }).waitFor();
    await stage.operate("mode", { repeat: "off" });
  });

  test("plays and pauses: the space bar and K", async () => {
    await page.keyboard.press(" ");
    await until(async () => (await player()).state).toBe("playing");
    await page
      .getByRole("region", { name: "Now playing" })
      .getByRole("button", { name: "Pause" })
      .first()
      .waitFor();
    await page.keyboard.press("k");
    await until(async () => (await player()).state).toBe("paused");
  });

  test("goes to the next and the previous track: N and P", async () => {
    const { entry } = await player();
    await page.keyboard.press("n");
    await until(async () => (await player()).entry).not.toBe(entry);
    await page.keyboard.press("p");
    await until(async () => (await player()).entry).toBe(entry);
    await stage.operate("pause", {});
    await until(async () => (await player()).state).toBe("paused");
  });

  test("opens the queue, the search and the list of shortcuts: Q, / and ?", async () => {
    await page.keyboard.press("q");
    await page.getByRole("heading", { name: "Queue", level: 1 }).waitFor();
    await page.keyboard.press("/");
    const box = page.getByRole("searchbox", { name: "Search" });
    await until(() => box.evaluate((input) => document.activeElement === input)).toBe(true);
    // Keys typed there are text.
    const before = await player();
    await page.keyboard.type("km?");
    await until(() => box.inputValue()).toBe("km?");
    expect((await player()).muted).toBe(before.muted);
    expect(await page.getByRole("dialog").count()).toBe(0);
    await page.goto(stage.url);
    await page.keyboard.press("?");
    const list = page.getByRole("dialog", { name: "Keyboard shortcuts" });
    await list.waitFor();
    expect(await list.locator("kbd").count()).toBeGreaterThanOrEqual(14);
    await shot(page, "keys-desktop-light");
    await page.keyboard.press("Escape");
    await list.waitFor({ state: "detached" });
  });

  test("moves the focus from the start of the page to the player with one press of Tab", async () => {
    const skipToPlayer = async (): Promise<void> => {
      await page.keyboard.press("Tab");
      await page.keyboard.press("Enter");
    };
    const focused = (): Promise<string> => page.evaluate(() => document.activeElement?.className ?? "");
    await page.goto(stage.url);
    await page.locator(".play-button:enabled:visible").first().waitFor();
    await skipToPlayer();
    await until(focused).toContain("play-button");
    // As long as nothing can be played, the link leads to the player as a whole.
    await page.route("**/api/**", (request) => request.abort());
    await page.goto(stage.url);
    await page.locator(".play-button:disabled:visible").first().waitFor();
    await skipToPlayer();
    await until(focused).toContain("player-bar");
    await page.unrouteAll({ behavior: "ignoreErrors" });
  });

  test("moves through a menu: the arrows, Home and End", async () => {
    await page.goto(`${stage.url}/browse?path=qobuz%3Afavourites%2Ftracks`);
    await page.locator(".track .more").first().click();
    const focused = (): Promise<string> => page.evaluate(() => document.activeElement?.textContent ?? "");
    await until(focused).toMatch(/^(Play|Pause)$/);
    await page.keyboard.press("ArrowDown");
    expect(await focused()).toBe("Play next");
    await page.keyboard.press("End");
    expect(await focused()).toBe("Go to artist");
    await page.keyboard.press("ArrowDown");
    expect(await focused()).toMatch(/^(Play|Pause)$/);
    await page.keyboard.press("ArrowUp");
    expect(await focused()).toBe("Go to artist");
    await page.keyboard.press("Escape");
    await page.getByRole("dialog").waitFor({ state: "detached" });
  });
});
