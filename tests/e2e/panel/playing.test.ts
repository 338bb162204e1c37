import type { Page } from "playwright-core";
import { afterAll, beforeAll, describe, expect, test, vi } from "vitest";
import type { PlayerStatus, QueueAnswer, RowsAnswer } from "../../../src/player/panel/api/types";
import { browseUrl } from "../../../src/player/panel/model/routes";
import { leave, patienceMs, Stage, testLimitMs } from "./stage";

let stage: Stage;
let page: Page;
let album: { path: string; title: string; tracks: string[] };

/** An album whose tracks can all be streamed, with enough of them. */
async function findAlbum(): Promise<typeof album> {
  const albums = await stage.ask<RowsAnswer>("/api/rows?path=qobuz%3Afeatured%2Falbums&from=0&to=49");
  for (const row of albums.rows) {
    const rows = await stage.ask<RowsAnswer>(`/api/rows?path=${encodeURIComponent(row.path!)}&from=0&to=49`);
    const ids = rows.rows.map((track) => Number(new URLSearchParams(track.path!.split("?")[1]).get("id")));
    // In the sandbox, every 97th and every 101st track is not available.
    const indexes = ids.map((id) => (id - 3_000_017) / 1201);
    const titles = rows.rows.map((track) => track.title ?? "");
    const plain = indexes.every((index) => index % 97 !== 0 && index % 101 !== 0);
    if (
      plain &&
      rows.count >= 6 &&
      rows.count <= 15 &&
      new Set(titles).size === rows.count &&
      titles.every(Boolean)
    )
      return { path: row.path!, title: row.title!, tracks: titles };
  }
  throw new Error("the sandbox has no such album");
}

beforeAll(async () => {
  stage = await Stage.open();
  album = await findAlbum();
  page = await stage.page({}, albumUrl());
}, testLimitMs);
afterAll(() => stage?.close(), testLimitMs);

const albumUrl = (): string => browseUrl(album.path, album.title);
const player = (): Promise<PlayerStatus> => stage.ask("/api/player");
const queued = async (): Promise<string[]> =>
  (await stage.ask<QueueAnswer>("/api/player/queue?from=0&to=99")).entries.map(({ row }) => row.title ?? "");
const bar = (on = page) => on.getByRole("region", { name: "Now playing" });
const button = (name: string) => bar().getByRole("button", { name, exact: true });
const until = (what: () => unknown) => expect.poll(what, { timeout: patienceMs });
const state = () => until(async () => (await player()).state);
/** Clears the queue and waits until the player has stopped. */
const clearQueue = async (): Promise<void> => {
  await stage.operate("queue/clear", {});
  await vi.waitFor(
    async () => expect(await player()).toMatchObject({ state: "stopped", queue: { count: 0 } }),
    { timeout: patienceMs, interval: 50 },
  );
};
const titles = (on = page): Promise<string[]> => on.locator(".queue-row .track-title").allTextContents();

describe("playing", { timeout: testLimitMs }, () => {
  test("plays an album with one press", async () => {
    await page.getByRole("button", { name: "Play", exact: true }).first().click();
    await bar().getByText(album.tracks[0]!, { exact: true }).waitFor();
    await button("Pause").waitFor();
    await until(queued).toEqual(album.tracks);
    await until(async () => (await player()).state).toBe("playing");
  });

  test("marks the playing track in its album, and shows the format", async () => {
    await page.locator(".track.current .track-title", { hasText: album.tracks[0]! }).waitFor();
    await bar().locator(".format").waitFor();
    expect(await bar().locator(".format").textContent()).toMatch(/FLAC|MP3/);
  });

  test("pauses and resumes", async () => {
    await button("Pause").click();
    await state().toBe("paused");
    const at = (await player()).positionMs;
    await button("Play").click();
    await state().toBe("playing");
    expect((await player()).positionMs).toBeGreaterThanOrEqual(at);
  });

  test("shows the album's cover and title once, not with each track", async () => {
    const { row } = await player();
    expect(row?.metaData?.album).toBe(album.title);
    expect(row?.icon).toMatch(/^http/);
    expect(await bar().locator(".cover img").getAttribute("src")).toBe(row?.icon);
    const told = await stage.ask<{ data: { title: string } }>(
      `/api/data?path=${encodeURIComponent(album.path)}&role=title`,
    );
    expect(told.data.title).toBe(album.title);
  });

  test("advances the position", async () => {
    const time = bar().locator(".time").first();
    const first = await time.textContent();
    await until(() => time.textContent()).not.toBe(first);
  });

  test("seeks where the slider is moved to, by pointer and by key", async () => {
    // Nothing moves on while the places are compared.
    await button("Pause").click();
    await state().toBe("paused");
    const slider = bar().getByRole("slider", { name: "Position in the track" });
    const box = (await slider.boundingBox())!;
    const { durationMs } = await player();
    await page.mouse.move(box.x + 7, box.y + box.height / 2);
    await page.mouse.down();
    await page.mouse.move(box.x + box.width * 0.3, box.y + box.height / 2, { steps: 4 });
    await page.mouse.move(box.x + box.width * 0.5, box.y + box.height / 2, { steps: 4 });
    await page.mouse.up();
    await until(async () => Math.abs((await player()).positionMs - durationMs / 2)).toBeLessThan(1_500);
    const at = (await player()).positionMs;
    await slider.press("ArrowLeft");
    await until(async () => (await player()).positionMs).toBeLessThan(at);
    await button("Play").click();
    await state().toBe("playing");
  });

  test("goes to the next and to the previous track", async () => {
    await button("Next track").click();
    await bar().getByText(album.tracks[1]!, { exact: true }).waitFor();
    await button("Next track").click();
    await bar().getByText(album.tracks[2]!, { exact: true }).waitFor();
    await button("Previous track").click();
    await bar().getByText(album.tracks[1]!, { exact: true }).waitFor();
  });

  test("sets the volume, and is silent while muted", async () => {
    const volume = bar().getByRole("slider", { name: "Volume" });
    await volume.fill("40");
    await until(async () => (await player()).volumePercent).toBe(40);
    await button("Mute").click();
    await until(async () => (await player()).muted).toBe(true);
    await button("Unmute").click();
    await until(async () => (await player()).muted).toBe(false);
  });

  test("sets repeat and shuffle", async () => {
    await button("Repeat: off").click();
    await until(async () => (await player()).repeat).toBe("all");
    await button("Repeat: the queue").click();
    await until(async () => (await player()).repeat).toBe("one");
    await button("Repeat: this track").click();
    await until(async () => (await player()).repeat).toBe("off");
    await button("Shuffle").click();
    await until(async () => (await player()).shuffle).toBe(true);
    await until(() => button("Shuffle").getAttribute("aria-pressed")).toBe("true");
    await button("Shuffle").click();
    await until(async () => (await player()).shuffle).toBe(false);
  });

  test("jumps to the track that is pressed on its album's page", async () => {
    await page.locator(".track-main", { hasText: album.tracks[3]! }).click();
    await bar().getByText(album.tracks[3]!, { exact: true }).waitFor();
    await until(queued).toEqual(album.tracks);
  });

  test("shows the playing track on a full page, with the queue beside it", async () => {
    await bar()
      .getByRole("link", { name: /^Open now playing/ })
      .click();
    await page.getByRole("heading", { name: album.tracks[3]!, level: 1 }).waitFor();
    await until(titles).toEqual(album.tracks);
    await page.getByRole("button", { name: "Back" }).click();
    await page.getByRole("heading", { name: album.title, level: 1 }).waitFor();
  });
});

describe("the queue", { timeout: testLimitMs }, () => {
  let order: string[];

  beforeAll(async () => {
    order = [...album.tracks];
    const state = (wanted: string): Promise<void> =>
      vi.waitFor(async () => expect((await player()).state).toBe(wanted), {
        timeout: patienceMs,
        interval: 50,
      });
    // A track that is still playing would be mistaken for the requested one.
    await clearQueue();
    await stage.operate("queue/add", { path: album.path, where: "replace", startAt: 3 });
    await state("playing");
    // The tracks are short; the queue must not end meanwhile.
    await stage.operate("pause", {});
    await state("paused");
    await page.goto(stage.url);
  }, testLimitMs);

  test("shows what plays next, and marks the current track", async () => {
    await page.getByRole("link", { name: "Queue" }).first().click();
    await page.getByRole("heading", { name: "Queue", level: 1 }).waitFor();
    await until(titles).toEqual(album.tracks);
    expect(await page.locator(".queue-row.current .track-title").textContent()).toBe(album.tracks[3]);
  });

  test("is reordered by dragging", async () => {
    const grip = (title: string) => page.getByRole("button", { name: `Move ${title}`, exact: true });
    const from = (await grip(order[0]!).boundingBox())!;
    const to = (await grip(order[2]!).boundingBox())!;
    await page.mouse.move(from.x + 20, from.y + 20);
    await page.mouse.down();
    await page.mouse.move(from.x + 20, from.y + 60, { steps: 5 });
    await page.mouse.move(to.x + 20, to.y + 24, { steps: 5 });
    await page.mouse.up();
    order.splice(2, 0, order.shift()!);
    await until(queued).toEqual(order);
    await until(titles).toEqual(order);
  });

  test("is reordered by the arrow keys, which keep the focus and announce the position", async () => {
    const grip = page.getByRole("button", { name: `Move ${order[4]!}`, exact: true });
    await grip.focus();
    await page.keyboard.press("ArrowUp");
    order.splice(3, 0, order.splice(4, 1)[0]!);
    await until(queued).toEqual(order);
    await until(titles).toEqual(order);
    await until(() => grip.evaluate((handle) => document.activeElement === handle)).toBe(true);
    await page.getByText(`${order[3]!} is now number 4`).waitFor({ state: "attached" });
    await page.keyboard.press("ArrowDown");
    order.splice(4, 0, order.splice(3, 1)[0]!);
    await until(queued).toEqual(order);
  });

  test("is reordered by a finger while the page stays still", async () => {
    const phone = await stage.page(
      { viewport: { width: 390, height: 844 }, isMobile: true, hasTouch: true },
      "/queue",
    );
    await until(() => titles(phone)).toEqual(order);
    const middle = async (title: string): Promise<{ x: number; y: number }> => {
      const grip = phone.getByRole("button", { name: `Move ${title}`, exact: true });
      const { x, y, width, height } = (await grip.boundingBox())!;
      return { x: x + width / 2, y: y + height / 2 };
    };
    const from = await middle(order[0]!);
    const to = await middle(order[2]!);
    const finger = await phone.context().newCDPSession(phone);
    const touch = (type: "touchStart" | "touchMove", y: number): Promise<unknown> =>
      finger.send("Input.dispatchTouchEvent", { type, touchPoints: [{ x: from.x, y }] });
    await touch("touchStart", from.y);
    for (let step = 1; step <= 8; ++step) await touch("touchMove", from.y + ((to.y - from.y) * step) / 8);
    await phone.locator(".drop-after").waitFor();
    await finger.send("Input.dispatchTouchEvent", { type: "touchEnd", touchPoints: [] });
    order.splice(2, 0, order.shift()!);
    await until(queued).toEqual(order);
    await until(() => titles(phone)).toEqual(order);
    expect(await phone.evaluate(() => scrollY)).toBe(0);
    await leave(phone);
    await until(() => titles()).toEqual(order);
  });

  test("loses a removed entry", async () => {
    const gone = order.pop()!;
    await page.getByRole("button", { name: `Remove ${gone}`, exact: true }).click();
    await until(titles).toEqual(order);
    await until(queued).toEqual(order);
  });

  test("is the same in two browsers that reorder it at the same time", async () => {
    const other = await stage.page({}, "/queue");
    await until(() => titles(other)).toEqual(order);
    const grip = (on: Page, title: string) => on.getByRole("button", { name: `Move ${title}`, exact: true });
    const answer = (on: Page, operation: string) => on.waitForResponse(`**/api/player/queue/${operation}?*`);
    await Promise.all([
      answer(page, "move"),
      answer(other, "move"),
      answer(page, "remove"),
      grip(other, order[3]!).press("ArrowDown"),
      grip(page, order[0]!)
        .press("ArrowDown")
        .then(() => page.getByRole("button", { name: `Remove ${order[1]!}`, exact: true }).click()),
    ]);
    const there = await queued();
    expect([...there].sort()).toEqual(order.filter((_, i) => i !== 1).sort());
    await until(titles).toEqual(there);
    await until(() => titles(other)).toEqual(there);
    order = there;

    // Entries that the other browser has removed disappear here too: a late press reports an error, and nothing is lost.
    const last = (await stage.ask<QueueAnswer>("/api/player/queue?from=0&to=99")).entries.at(-1)!;
    await stage.operate("queue/remove", { entries: [last.id] });
    order.pop();
    await until(titles).toEqual(order);
    await until(() => titles(other)).toEqual(order);
    await leave(other);
  });

  test("accepts entries after the current track and at its end", async () => {
    await page.goto(`${stage.url}/browse?path=qobuz%3Afavourites%2Ftracks`);
    await page.locator(".track-title").first().waitFor();
    const [first, second] = await page.locator(".track-title").allTextContents();
    const more = (title: string) =>
      page.getByRole("button", { name: `More options for ${title}`, exact: true }).first();
    await more(first!).click();
    await page.getByRole("menuitem", { name: "Play next" }).click();
    await page.getByText(`Playing next: ${first}`).waitFor();
    await more(second!).click();
    await page.getByRole("menuitem", { name: "Add to queue" }).click();
    await page.getByText(`Added to queue: ${second}`).waitFor();
    const current = order.indexOf((await player()).row!.title!);
    order.splice(current + 1, 0, first!);
    order.push(second!);
    await until(queued).toEqual(order);
  });

  test("accepts a whole container from its cover", async () => {
    await page.goto(`${stage.url}/browse?path=qobuz%3Afeatured%2Falbums`);
    await page
      .getByRole("button", { name: `More options for ${album.title}`, exact: true })
      .first()
      .click();
    await page.getByRole("menuitem", { name: "Add to queue" }).click();
    order.push(...album.tracks);
    await until(queued).toEqual(order);
  });

  test("can have more than 10,000 entries: its end is shown, reordered and removed", async () => {
    const path = "qobuz:favourites/tracks";
    let playable = 0;
    for (let from = 0, count = 1; from < count; from += 100) {
      const part = await stage.ask<RowsAnswer>(
        `/api/rows?path=${encodeURIComponent(path)}&from=${from}&to=${from + 99}`,
      );
      count = part.count;
      playable += part.rows.filter((row) => row.playable).length;
    }
    const times = Math.ceil(10_000 / playable);
    let count = (await player()).queue.count + playable;
    await page.goto(stage.url + browseUrl(path));
    await page.getByRole("button", { name: "More options for Tracks", exact: true }).click();
    await page.getByRole("menuitem", { name: "Add to queue" }).click();
    await until(async () => (await player()).queue.count).toBe(count);
    for (let i = 1; i < times; ++i) {
      await stage.operate("queue/add", { path, where: "end" });
      count += playable;
      await until(async () => (await player()).queue.count).toBe(count);
    }
    expect(count).toBeGreaterThan(10_000);

    await page.getByRole("link", { name: "Queue" }).first().click();
    await page.locator(".queue-row").first().waitFor();
    let asked = 0;
    page.on("request", (request) => (asked += request.url().includes("/api/player/queue?") ? 1 : 0));
    const row = (place: number) => page.locator(`.queue-row[aria-posinset="${place}"]`);
    const ids = async (from: number, to: number): Promise<number[]> =>
      (await stage.ask<QueueAnswer>(`/api/player/queue?from=${from}&to=${to}`)).entries.map(({ id }) => id);
    const entry = (place: number): Promise<number> =>
      row(place).evaluate((element) => Number((element as HTMLElement).dataset["entry"]));
    await until(async () => {
      await page.evaluate(() => scrollTo(0, document.documentElement.scrollHeight));
      return row(count).count();
    }).toBe(1);
    expect(await page.locator(".queue-row").count()).toBeLessThan(60);
    expect(asked).toBeLessThan(20);
    const end = await ids(count - 3, count - 1);
    expect([await entry(count - 2), await entry(count - 1), await entry(count)]).toEqual(end);

    await row(count).locator(".grip").press("ArrowUp");
    await until(() => ids(count - 3, count - 1)).toEqual([end[0], end[2], end[1]]);
    await until(() => entry(count)).toBe(end[1]);
    await row(count).locator(".remove").click();
    await until(() => ids(count - 3, count - 1)).toEqual([end[0], end[2]]);
    await until(() => page.locator(`[aria-setsize="${count - 1}"].queue-row`).count()).toBeGreaterThan(0);
    await until(() => entry(count - 1)).toBe(end[2]);
    // The front of the queue is unchanged.
    await page.evaluate(() => scrollTo(0, 0));
    await until(() => entry(1)).toBe((await ids(0, 0))[0]);
  });

  test("is cleared, and says so", async () => {
    await page.evaluate(() => scrollTo(0, 0));
    await page.getByRole("button", { name: "Clear", exact: true }).click();
    await page.getByText("The queue is empty").waitFor();
    await until(async () => (await player()).queue.count).toBe(0);
  });
});

describe("an artist", { timeout: testLimitMs }, () => {
  beforeAll(clearQueue, testLimitMs);

  test("plays all tracks of its albums", async () => {
    const { rows } = await stage.ask<RowsAnswer>("/api/rows?path=qobuz%3Afeatured%2Fartists&from=0&to=19");
    const ask = async (path: string): Promise<RowsAnswer> =>
      stage.ask(`/api/rows?path=${encodeURIComponent(path)}&from=0&to=49`);
    let wanted: { title: string; tracks: string[] } | undefined;
    for (const row of rows) {
      const albums = await ask(row.path!);
      if (!row.title || albums.count < 2 || albums.count > 4) continue;
      const lists = await Promise.all(albums.rows.map((each) => ask(each.path!)));
      wanted = {
        title: row.title,
        tracks: lists.flatMap((list) => list.rows.map((each) => each.title ?? "")),
      };
      break;
    }
    expect(wanted).toBeDefined();
    await page.goto(`${stage.url}/browse?path=qobuz%3Afeatured%2Fartists`);
    const tile = page.locator(".tile").filter({ has: page.getByText(wanted!.title, { exact: true }) });
    await tile
      .first()
      .getByRole("button", { name: /^More options for/ })
      .click();
    await page.getByRole("menuitem", { name: "Add to queue" }).click();
    await until(queued).toEqual(wanted!.tracks);
    await page.goto(`${stage.url}/queue`);
    await page.getByRole("button", { name: "Clear", exact: true }).click();
    await until(async () => (await player()).queue.count).toBe(0);
  });
});

describe("playing and the service", { timeout: testLimitMs }, () => {
  beforeAll(clearQueue, testLimitMs);

  test("reports one start and one end for each track that was played", async () => {
    const reported = async (): Promise<string[]> =>
      (await stage.reports()).map(
        ({ endpoint, items }) => `${endpoint.split("/")[1]!} ${ids.indexOf(items["track_id"]!)}`,
      );
    const { rows } = await stage.ask<RowsAnswer>(
      `/api/rows?path=${encodeURIComponent(album.path)}&from=0&to=49`,
    );
    const ids = rows.map((row) => new URLSearchParams(row.path!.split("?")[1]).get("id"));
    await stage.sandboxAnswers("requests", "DELETE");
    await page.goto(stage.url + albumUrl());
    await page.getByRole("button", { name: "Play", exact: true }).first().click();
    await bar().getByText(album.tracks[0]!, { exact: true }).waitFor();
    await state().toBe("playing");
    await until(reported).toEqual(["reportStreamingStart 0"]);
    await button("Next track").click();
    await bar().getByText(album.tracks[1]!, { exact: true }).waitFor();
    await state().toBe("playing");
    // An end and the next start are sent together, and may arrive over two connections.
    await until(async () => (await reported()).sort()).toEqual([
      "reportStreamingEnd 0",
      "reportStreamingStart 0",
      "reportStreamingStart 1",
    ]);
  });

  test("plays in the last chosen quality from the next track on", async () => {
    await page.getByRole("link", { name: "Account" }).first().click();
    await page.getByRole("radio", { name: /Data saver/ }).check();
    await until(() => stage.command(["quality"]).trim()).toBe("mp3");
    await button("Next track").click();
    await until(async () => (await player()).format?.mimeType).toBe("audio/mpeg");
    await until(() => bar().locator(".format").textContent()).toMatch(/MP3/);
  });

  test("says if a track is not available in the chosen quality", async () => {
    await page.getByRole("link", { name: "Account" }).first().click();
    await page.getByRole("radio", { name: /Hi-Res \(maximum\)/ }).check();
    await until(() => stage.command(["quality"]).trim()).toBe("hires192");
    const { cd } =
      await stage.sandboxAnswers<Record<string, { id: number; album_id: string }[]>>("tracks?kind=cd");
    const path = `qobuz:album?id=${cd![0]!.album_id}`;
    const { rows } = await stage.ask<RowsAnswer>(`/api/rows?path=${encodeURIComponent(path)}&from=0&to=49`);
    const index = rows.findIndex((row) => row.path!.endsWith(`=${cd![0]!.id}`));
    await page.goto(stage.url + browseUrl(path));
    await page.locator(`[aria-posinset="${index + 1}"] .track-main`).click();
    await until(async () => (await player()).row?.path).toBe(rows[index]!.path);
    await until(() => bar().locator(".format").textContent()).toMatch(/FLAC.*16.*below your setting/);
  });

  test("plays its buffer while the service is unavailable, and plays again when it is back", async () => {
    await stage.stopService();
    await page.goto(`${stage.url}/browse?path=qobuz%3Afeatured%2Falbums`);
    await page.getByRole("alert").waitFor();
    await stage.startService();
    await until(async () => {
      const again = page.getByRole("button", { name: "Try again" });
      if (await again.isVisible()) await again.click().catch(() => undefined);
      return page.locator(".tile-link").count();
    }).toBeGreaterThan(0);
    await page.goto(stage.url + albumUrl());
    await page.getByRole("button", { name: "Play", exact: true }).first().click();
    await state().toBe("playing");
  });

  test("shows the rights holder's notice", async () => {
    const { "restricted-sample": samples } = await stage.sandboxAnswers<
      Record<string, { id: number; album_id: string }[]>
    >("tracks?kind=restricted-sample");
    const sample = samples![0]!;
    const path = `qobuz:album?id=${sample.album_id}`;
    await page.goto(`${stage.url}/browse?path=${encodeURIComponent(path)}`);
    const { rows } = await stage.ask<RowsAnswer>(`/api/rows?path=${encodeURIComponent(path)}&from=0&to=49`);
    const index = rows.findIndex((row) => row.path!.endsWith(`=${sample.id}`));
    await page.locator(`[aria-posinset="${index + 1}"] .track-main`).click();
    await page.locator(".notice", { hasText: /rights-holders/ }).waitFor();
  });

  test("stops when the account logs out", async () => {
    await page.goto(stage.url + albumUrl());
    await page.getByRole("button", { name: "Play", exact: true }).first().click();
    await state().toBe("playing");
    await page.getByRole("link", { name: "Account" }).first().click();
    await page.getByRole("button", { name: "Log out" }).click();
    await page.getByText("You are not logged in.").waitFor();
    await state().toBe("stopped");
    await bar().getByText("Nothing is playing").waitFor();
  });
});
