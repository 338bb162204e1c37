import type { Page } from "playwright-core";
import { afterAll, beforeAll, describe, expect, test, vi } from "vitest";
import type { PlayerStatus, Row, RowsAnswer } from "../../../src/player/panel/api/types";
import { browseUrl } from "../../../src/player/panel/model/routes";
import { leave, patienceMs, shot, Stage, testLimitMs } from "./stage";

/** The listener and the playing track: pausing it in its list, opening its album and artist, reading its data. */

let stage: Stage;
let page: Page;
let album: { path: string; title: string; rows: Row[] };

beforeAll(async () => {
  stage = await Stage.open();
  const rows = async (path: string): Promise<RowsAnswer> =>
    stage.ask(`/api/rows?path=${encodeURIComponent(path)}&from=0&to=49`);
  for (const row of (await rows("qobuz:featured/albums")).rows) {
    const tracks = await rows(row.path!);
    const composers = new Set(tracks.rows.map(({ metaData }) => metaData?.composer));
    const first = tracks.rows[0];
    const named = !!row.title && !!first?.metaData?.artist && !!first.metaData.genre && !!first.metaData.date;
    if (named && tracks.count >= 6 && composers.size > 1 && tracks.rows.every((each) => each.playable)) {
      album = { path: row.path!, title: row.title!, rows: tracks.rows };
      break;
    }
  }
  page = await stage.page({}, albumUrl());
}, testLimitMs);
afterAll(() => stage?.close(), testLimitMs);

const albumUrl = (): string => browseUrl(album.path, album.title);
const player = (): Promise<PlayerStatus> => stage.ask("/api/player");
const until = (what: () => unknown) => expect.poll(what, { timeout: patienceMs });
const bar = (on = page) => on.getByRole("region", { name: "Now playing" });
const main = (on = page) => on.getByRole("main");
const titleAt = (place: number): string => album.rows[place]!.title!;
const stands = (wanted: Partial<PlayerStatus>): Promise<void> =>
  vi.waitFor(async () => expect(await player()).toMatchObject(wanted), { timeout: patienceMs, interval: 50 });
/** A track of the album is playing, or paused at its start. */
const heard = async (state: "playing" | "paused", place = 2): Promise<void> => {
  await stage.operate("queue/clear", {});
  await stands({ state: "stopped" });
  await stage.operate("queue/add", { path: album.path, where: "replace", startAt: place });
  await stands({ state: "playing" });
  if (state === "playing") return;
  await stage.operate("pause", {});
  await stands({ state: "paused" });
};
const rowAt = (place: number, on = page) => main(on).locator(`.track[aria-posinset="${place + 1}"]`);

describe("an album", { timeout: testLimitMs }, () => {
  test("shows its artist, date, genre and copyright, and per line only what differs", async () => {
    const meta = album.rows[0]!.metaData!;
    const facts = main().locator(".head-count");
    await facts.getByRole("link", { name: meta.artist! }).waitFor();
    expect(await facts.textContent()).toContain(meta.genre!);
    expect(await facts.textContent()).toContain(String(new Date(meta.date! * 1000).getUTCFullYear()));
    const lines = await main().locator(".track .track-sub").allTextContents();
    expect(lines.join()).not.toContain(meta.artist!);
    const composers = album.rows.map(({ metaData }) => metaData?.composer ?? "").filter(Boolean);
    expect(lines).toEqual(composers);
    for (const { metaData } of album.rows)
      if (metaData?.copyright)
        expect(await main().locator(".copyright").textContent()).toContain(metaData.copyright);
  });

  test("that is playing has Pause instead of Play, on its page and on its cover", async () => {
    await main().getByRole("button", { name: "Play", exact: true }).click();
    await until(async () => (await player()).state).toBe("playing");
    const pause = main().getByRole("button", { name: "Pause", exact: true });
    await pause.click();
    await until(async () => (await player()).state).toBe("paused");
    await main().getByRole("button", { name: "Play", exact: true }).click();
    await until(async () => (await player()).state).toBe("playing");
    await stage.operate("pause", {});
    await page.goto(`${stage.url}/browse?path=qobuz%3Afeatured%2Falbums`);
    const tile = page
      .locator(".tile")
      .filter({ has: page.getByText(album.title, { exact: true }) })
      .first();
    const entry = (await player()).entry;
    await tile.getByRole("button", { name: `Play ${album.title}`, exact: true }).click();
    await tile.getByRole("button", { name: `Pause ${album.title}`, exact: true }).click();
    await until(async () => (await player()).state).toBe("paused");
    // The queue is still the same one.
    expect((await player()).entry).toBe(entry);
  });

  test("pauses when its playing track is pressed, and the queue does not change", async () => {
    await page.goto(stage.url + albumUrl());
    await rowAt(2).locator(".track-main").click();
    await until(async () => (await player()).row?.title).toBe(titleAt(2));
    await until(async () => (await player()).state).toBe("playing");
    const { entry, queue } = await player();
    await rowAt(2)
      .getByRole("button", { name: /^Pause / })
      .click();
    await until(async () => (await player()).state).toBe("paused");
    await rowAt(2).locator(".track-main").click();
    await until(async () => (await player()).state).toBe("playing");
    expect((await player()).entry).toBe(entry);
    expect((await player()).queue.revision).toBe(queue.revision);
    await page.goto(`${stage.url}/queue`);
    await page.locator(".queue-row.current .track-main").click();
    await until(async () => (await player()).state).toBe("paused");
    expect((await player()).entry).toBe(entry);
  });
});

describe("from the playing track", { timeout: testLimitMs }, () => {
  beforeAll(() => heard("paused"), testLimitMs);

  test("one press opens its album, from the bar, the full page and the menu", async () => {
    await page.goto(stage.url);
    await bar().getByRole("link", { name: album.title, exact: true }).click();
    await page.getByRole("heading", { name: album.title, level: 1 }).waitFor();
    await page.goto(`${stage.url}/playing`);
    await page.locator(".now-album").getByRole("link", { name: album.title }).click();
    await page.getByRole("heading", { name: album.title, level: 1 }).waitFor();
    await rowAt(0).locator(".more").click();
    await page.getByRole("menuitem", { name: "Go to artist" }).click();
    await page.waitForURL(/\/(search\?q|browse\?path=qobuz%3Aartist)/);
  });

  test("if only a name is known, a search for it opens", async () => {
    const other = await stage.page({}, "/account");
    await other.evaluate(() => sessionStorage.clear());
    await other.goto(stage.url);
    const { artist } = album.rows[0]!.metaData!;
    await bar(other).getByRole("link", { name: artist!, exact: true }).click();
    await expect.poll(() => other.getByRole("searchbox").inputValue(), { timeout: patienceMs }).toBe(artist);
    await other.getByRole("list", { name: "Artists" }).getByText(artist!, { exact: true }).first().waitFor();
    // Its row was seen now: the name leads there.
    await bar(other).getByRole("link", { name: artist!, exact: true }).click();
    await other.getByRole("heading", { name: artist!, level: 1 }).waitFor();
    await leave(other);
  });
});

describe("the bar", { timeout: testLimitMs }, () => {
  beforeAll(() => heard("paused"), testLimitMs);

  test("names the track in the browser's tab on every page", async () => {
    await page.goto(stage.url + albumUrl());
    await until(() => page.title()).toBe(`${album.title} · Pelk`);
    await rowAt(1).locator(".track-main").click();
    await until(() => page.title()).toContain(titleAt(1));
    await page.goto(`${stage.url}/account`);
    await until(() => page.title()).toContain((await player()).row!.title!);
    await stage.operate("pause", {});
    await until(() => page.title()).toBe("Account · Pelk");
  });

  test("shows the remaining time after a press", async () => {
    await heard("paused");
    await bar()
      .getByRole("button", { name: /^Duration/ })
      .click();
    await bar()
      .getByRole("button", { name: /^Remaining time/ })
      .waitFor();
    expect(await bar().locator(".time").last().textContent()).toMatch(/^−\d+:\d\d$/);
    await bar()
      .getByRole("button", { name: /^Remaining time/ })
      .click();
  });

  test("explains each icon when the pointer rests on it", async () => {
    for (const name of ["Shuffle", "Next track", "Mute"]) {
      await bar().getByRole("button", { name, exact: true }).hover();
      expect(await bar().getByRole("button", { name, exact: true }).getAttribute("title")).toBe(name);
    }
  });

  test.each([900, 1024, 1280, 1440, 1920])(
    "keeps the volume in its place on %i pixels, and says in words or by an explained sign that the quality is lower",
    async (width) => {
      const other = await stage.page({ viewport: { width, height: 800 } });
      const place = async (lower: boolean): Promise<number> => {
        await other.addInitScript((isLower) => {
          const parse = JSON.parse;
          JSON.parse = (text: string) => {
            const value = parse(text) as { format?: { lowerThanAsked?: boolean } };
            if (value && typeof value === "object" && value.format) value.format.lowerThanAsked = isLower;
            return value;
          };
        }, lower);
        await other.goto(stage.url);
        await bar(other)
          .locator(lower ? ".format.lower" : ".volume")
          .waitFor();
        return (await bar(other).locator(".volume").boundingBox())!.x;
      };
      const before = await place(false);
      expect(await place(true)).toBe(before);
      const badge = bar(other).locator(".format");
      expect(await badge.getAttribute("title")).toContain("below your setting");
      const cut = await badge.evaluate((each) => each.scrollWidth - each.clientWidth);
      expect(cut).toBeLessThanOrEqual(1);
      expect(await badge.isVisible()).toBe(true);
      await shot(other, `bar-lower-${width}`);
      await leave(other);
    },
  );
});
