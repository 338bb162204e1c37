import type { Page, Route } from "playwright-core";
import { afterAll, beforeAll, describe, expect, test, vi } from "vitest";
import type { PlayerStatus, QueueAnswer } from "../../../src/player/panel/api/types";
import { leave, patienceMs, shot, Stage, testLimitMs } from "./stage";

/** The queue as a listener works with it: where it opens, its menus, several rows at once, a finger. */

let stage: Stage;
let page: Page;
const player = (): Promise<PlayerStatus> => stage.ask("/api/player");
const stands = (wanted: Partial<PlayerStatus>): Promise<void> =>
  vi.waitFor(async () => expect(await player()).toMatchObject(wanted), { timeout: patienceMs, interval: 50 });
const until = (what: () => unknown) => expect.poll(what, { timeout: patienceMs });
const ids = async (): Promise<number[]> =>
  (await stage.ask<QueueAnswer>("/api/player/queue?from=0&to=99")).entries.map(({ id }) => id);
const row = (id: number, on = page) => on.locator(`.queue-row[data-entry="${id}"]`);
const drawn = (on = page): Promise<number[]> =>
  on
    .locator(".queue-row")
    .evaluateAll((all) => all.map((each) => Number((each as HTMLElement).dataset["entry"])));

/** A queue of sixty tracks, paused at the start of one of them. */
async function fill(startAt: number): Promise<void> {
  await stage.operate("queue/clear", {});
  await stands({ state: "stopped" });
  await stage.operate("queue/add", {
    path: "qobuz:favourites/tracks",
    from: 0,
    to: 59,
    where: "replace",
    startAt,
  });
  await vi.waitFor(async () => expect(await ids()).toHaveLength(60), { timeout: patienceMs, interval: 50 });
  await stands({ state: "playing" });
  await stage.operate("pause", {});
  await stands({ state: "paused" });
}

beforeAll(async () => {
  stage = await Stage.open();
  await fill(30);
  page = await stage.page({}, "/queue");
}, testLimitMs);
afterAll(() => stage?.close(), testLimitMs);

describe("the queue", { timeout: testLimitMs }, () => {
  test.each([
    ["desktop-light", { viewport: { width: 1440, height: 900 }, colorScheme: "light" }],
    ["phone-dark", { viewport: { width: 390, height: 844 }, colorScheme: "dark" }],
    ["phone-light", { viewport: { width: 390, height: 844 }, colorScheme: "light" }],
    ["desktop-dark", { viewport: { width: 1440, height: 900 }, colorScheme: "dark" }],
  ] as const)(
    "opens at the playing track on a %s screen, with played tracks dimmed",
    async (name, options) => {
      const other = await stage.page(options, "/");
      await other.getByRole("link", { name: "Queue" }).first().click();
      const current = other.locator(".queue-row.current");
      await current.waitFor();
      await until(async () => {
        const box = await current.boundingBox();
        return !!box && box.y > 0 && box.y < options.viewport.height * 0.6;
      }).toBe(true);
      expect(await other.locator(".queue-row.played").count()).toBeGreaterThan(0);
      expect(await current.evaluate((each) => each.nextElementSibling?.classList.contains("played"))).toBe(
        false,
      );
      await shot(other, `queue-opened-${name}`);
      await leave(other);
    },
  );

  test("opens at the playing track, with the rows before it within reach", async () => {
    const other = await stage.page({}, "/playing");
    const current = other.locator(".queue-row.current");
    await until(async () => (await current.boundingBox())?.y ?? -1).toBeGreaterThan(0);
    const back = (await other.getByRole("button", { name: "Back" }).boundingBox())!;
    expect(back.y).toBeGreaterThanOrEqual(0);
    expect(await other.locator(".now-track .play-button").isVisible()).toBe(true);
    await shot(other, "queue-beside-1440");
    await leave(other);
  });

  test("has a menu on each row, which moves it after the playing track", async () => {
    await until(() => page.locator(".queue-row.current").count()).toBe(1);
    const before = await ids();
    const { entry } = await player();
    const place = before.indexOf(entry!);
    const wanted = before[place + 4]!;
    await row(wanted).locator(".more").click();
    await page.getByRole("menuitem", { name: "Play next" }).click();
    const after = before.filter((id) => id !== wanted);
    after.splice(place + 1, 0, wanted);
    await until(ids).toEqual(after);
  });

  test("lets several rows be selected, moved and removed: Shift selects a range, Ctrl one more row", async () => {
    const before = await ids();
    const place = before.indexOf((await player()).entry!);
    const [a, b, c, d] = [place + 5, place + 6, place + 7, place + 9].map((index) => before[index]!);
    await row(a!)
      .locator(".track-main")
      .click({ modifiers: ["Control"] });
    await row(c!)
      .locator(".track-main")
      .click({ modifiers: ["Shift"] });
    await row(d!).locator(".track-main").click();
    await page.getByText("4 selected").waitFor();
    await shot(page, "queue-selected-desktop-light");
    const toolbar = page.getByRole("toolbar");
    const moves: unknown[] = [];
    page.on("request", (request) => {
      if (request.url().includes("/queue/move")) moves.push(request.postDataJSON());
    });
    await toolbar.getByRole("button", { name: "Play next" }).click();
    const chosen = [a!, b!, c!, d!];
    const after = before.filter((id) => !chosen.includes(id));
    after.splice(place + 1, 0, ...chosen);
    await until(ids).toEqual(after);
    expect(moves).toEqual([{ entries: chosen, before: expect.any(Number) as number }]);
    await toolbar.waitFor({ state: "detached" });

    await row(a!)
      .locator(".track-main")
      .click({ modifiers: ["Control"] });
    await row(b!).locator(".track-main").click();
    await page.getByRole("toolbar").getByRole("button", { name: "Remove" }).click();
    await until(ids).toEqual(after.filter((id) => id !== a && id !== b));
    // Nothing of all that played anything.
    expect((await player()).state).toBe("paused");
  });

  test("clears the selection at Escape", async () => {
    await page
      .locator(".queue-row .track-main")
      .first()
      .click({ modifiers: ["Control"] });
    await page.getByText("1 selected").waitFor();
    await page.keyboard.press("Escape");
    await page.getByRole("toolbar").waitFor({ state: "detached" });
  });

  test("moves all selected rows when one of them is dragged", async () => {
    await page.evaluate(() => scrollTo(0, 0));
    const before = await ids();
    await until(async () => (await drawn()).slice(0, 6)).toEqual(before.slice(0, 6));
    await row(before[0]!)
      .locator(".track-main")
      .click({ modifiers: ["Control"] });
    await row(before[1]!).locator(".track-main").click();
    const from = (await row(before[0]!).locator(".grip").boundingBox())!;
    const to = (await row(before[4]!).locator(".grip").boundingBox())!;
    await page.mouse.move(from.x + 20, from.y + 20);
    await page.mouse.down();
    await page.mouse.move(to.x + 20, to.y + 20, { steps: 8 });
    await page.mouse.up();
    const [a, b, ...others] = before;
    others.splice(3, 0, a!, b!);
    await until(ids).toEqual(others);
    await page.keyboard.press("Escape");
  });

  test("removes a row that is swiped away, and selects one after a long press", async () => {
    const phone = await stage.page(
      { viewport: { width: 390, height: 844 }, isMobile: true, hasTouch: true },
      "/queue",
    );
    await until(() => phone.locator(".queue-row.current").count()).toBe(1);
    const seen = async (): Promise<number[]> =>
      phone
        .locator(".queue-row")
        .evaluateAll((all) =>
          all
            .filter(
              (each) => each.getBoundingClientRect().top > 60 && each.getBoundingClientRect().bottom < 600,
            )
            .map((each) => Number((each as HTMLElement).dataset["entry"])),
        );
    const [gone, held] = await seen();
    const finger = await phone.context().newCDPSession(phone);
    const touch = (type: "touchStart" | "touchMove", x: number, y: number): Promise<unknown> =>
      finger.send("Input.dispatchTouchEvent", { type, touchPoints: [{ x, y }] });
    const lift = (): Promise<unknown> =>
      finger.send("Input.dispatchTouchEvent", { type: "touchEnd", touchPoints: [] });
    const before = await ids();
    const box = (await row(gone!, phone).boundingBox())!;
    const y = box.y + box.height / 2;
    await touch("touchStart", 220, y);
    for (let x = 210; x >= 90; x -= 20) await touch("touchMove", x, y);
    await lift();
    await until(ids).toEqual(before.filter((id) => id !== gone));
    await shot(phone, "queue-swiped-phone-light");
    await phone.getByRole("button", { name: "Undo" }).click();
    await until(ids).toEqual(before);

    const rest = (await row(held!, phone).boundingBox())!;
    await touch("touchStart", 160, rest.y + rest.height / 2);
    await phone.getByText("1 selected").waitFor();
    await lift();
    await shot(phone, "queue-selected-phone-light");
    expect((await player()).state).toBe("paused");
    await leave(phone);
  });
});

describe("what was removed", { timeout: testLimitMs }, () => {
  const undo = (on = page) => on.locator(".notice").getByRole("button", { name: "Undo" });

  test.each([
    ["desktop-light", { viewport: { width: 1440, height: 900 }, colorScheme: "light" }],
    ["desktop-dark", { viewport: { width: 1440, height: 900 }, colorScheme: "dark" }],
    ["phone-light", { viewport: { width: 390, height: 844 }, colorScheme: "light" }],
    ["phone-dark", { viewport: { width: 390, height: 844 }, colorScheme: "dark" }],
  ] as const)(
    "comes back at a press of Undo after the queue is cleared, on a %s screen",
    async (name, options) => {
      await fill(30);
      const before = await ids();
      const other = await stage.page(options, "/queue");
      await until(() => other.locator(".queue-row.current").count()).toBe(1);
      await other.getByRole("button", { name: "Clear", exact: true }).click();
      await other.getByText("Queue cleared").waitFor();
      await until(ids).toEqual([]);
      await shot(other, `queue-undo-${name}`);
      await undo(other).click();
      await until(ids).toEqual(before);
      await until(() => other.locator(".queue-row.current").count()).toBe(1);
      expect(await other.getByText("Queue cleared").count()).toBe(0);
      await leave(other);
    },
  );

  test("comes back in its place: one row, several rows, and what an album replaced", async () => {
    await fill(30);
    const other = await stage.page({}, "/queue");
    await until(() => other.locator(".queue-row.current").count()).toBe(1);
    const before = await ids();
    const place = before.indexOf((await player()).entry!);
    const [a, b, c] = [place + 2, place + 3, place + 4].map((index) => before[index]!);
    await row(a!, other).locator(".remove").click();
    await until(ids).toEqual(before.filter((id) => id !== a));
    await undo(other).click();
    await until(ids).toEqual(before);

    await row(b!, other)
      .locator(".track-main")
      .click({ modifiers: ["Control"] });
    await row(c!, other).locator(".track-main").click();
    await other.getByRole("toolbar").getByRole("button", { name: "Remove" }).click();
    await other.getByText("Removed from queue: 2 tracks").waitFor();
    await undo(other).click();
    await until(ids).toEqual(before);

    await other.goto(`${stage.url}/browse?path=qobuz%3Afeatured%2Falbums`);
    await other
      .getByRole("button", { name: /^Play / })
      .first()
      .click();
    await other.getByText("Queue replaced").waitFor();
    await until(async () => (await ids()).some((id) => before.includes(id))).toBe(false);
    await undo(other).click();
    await until(ids).toEqual(before);
    await leave(other);
  });

  test("cannot be restored once something else has changed the queue, and is no longer offered", async () => {
    await fill(30);
    const other = await stage.page({}, "/queue");
    await until(() => other.locator(".queue-row.current").count()).toBe(1);
    const last = (await ids()).at(-1)!;
    await other.locator(".queue-row.current ~ .queue-row .remove").first().click();
    await undo(other).waitFor();
    await until(async () => (await player()).undo).toBe(1);
    await stage.operate("queue/move", { entries: [last], before: (await ids())[0] });
    await undo(other).waitFor({ state: "detached" });
    await leave(other);
  });
});

describe("a shuffled queue", { timeout: testLimitMs }, () => {
  test("shows the order in which it plays", async () => {
    await fill(3);
    const other = await stage.page({}, "/queue");
    await until(() => other.locator(".queue-row.current").count()).toBe(1);
    const before = await ids();
    await other.getByRole("button", { name: "Shuffle" }).click();
    await until(async () => (await ids()).join() === before.join()).toBe(false);
    const shuffled = await ids();
    expect([...shuffled].sort((x, y) => x - y)).toEqual([...before].sort((x, y) => x - y));
    await until(async () => (await drawn(other)).slice(0, 5)).toEqual(shuffled.slice(0, 5));
    const place = shuffled.indexOf((await player()).entry!);
    await stage.operate("next", {});
    await stands({ entry: shuffled[place + 1]! });
    await until(() => other.locator(".queue-row.current").getAttribute("data-entry")).toBe(
      String(shuffled[place + 1]),
    );
    await stage.operate("mode", { shuffle: false });
    await until(ids).toEqual(before);
    await leave(other);
  });
});

describe("a finger", { timeout: testLimitMs }, () => {
  test("swipes the bar for the next track, swipes the playing track's page down, and opens a menu with a long press", async () => {
    await fill(5);
    const phone = await stage.page({ viewport: { width: 390, height: 844 }, isMobile: true, hasTouch: true });
    const tile = phone.locator(".tile:not(.skeleton)").first();
    await tile.waitFor();
    const finger = await phone.context().newCDPSession(phone);
    const touch = (type: "touchStart" | "touchMove", x: number, y: number): Promise<unknown> =>
      finger.send("Input.dispatchTouchEvent", { type, touchPoints: [{ x, y }] });
    const lift = (): Promise<unknown> =>
      finger.send("Input.dispatchTouchEvent", { type: "touchEnd", touchPoints: [] });
    const swipe = async (x: number, y: number, dx: number, dy: number): Promise<void> => {
      await touch("touchStart", x, y);
      for (let step = 1; step <= 6; ++step)
        await touch("touchMove", x + (dx * step) / 6, y + (dy * step) / 6);
      await lift();
    };
    const bar = (await phone.locator(".player-bar").boundingBox())!;
    const { entry } = await player();
    await swipe(220, bar.y + 30, -150, 0);
    await until(async () => (await player()).entry).toBe(entry! + 1);
    await swipe(100, bar.y + 30, 150, 0);
    await until(async () => (await player()).entry).toBe(entry);
    await stage.operate("pause", {});

    const cover = (await tile.boundingBox())!;
    await touch("touchStart", cover.x + 60, cover.y + 60);
    await phone.getByRole("menu").waitFor();
    await lift();
    await shot(phone, "menu-long-press-phone-light");
    await phone.getByRole("menuitem", { name: "Add to queue" }).click();
    await phone.getByText(/^Added to queue/).waitFor();

    await phone.locator(".player-title").click();
    const large = (await phone.locator(".now-cover").boundingBox())!;
    await swipe(195, large.y + 60, 0, 200);
    await phone.locator(".player-bar").waitFor();
    expect(new URL(phone.url()).pathname).toBe("/");
    await leave(phone);
  });
});

describe("a cover", { timeout: testLimitMs }, () => {
  test("stays when the cover of the previous track arrives late", async () => {
    await fill(5);
    const other = await stage.page({}, "/account");
    const cover = other.locator(".player-bar .cover img");
    await cover.and(other.locator(".shown")).waitFor();
    const own = await cover.getAttribute("src");
    const late: Route[] = [];
    await other.route("**/*", (route) =>
      route.request().resourceType() !== "image" || route.request().url().endsWith(own!)
        ? route.continue()
        : late.push(route),
    );
    const { entry } = await player();
    await stage.operate("next", {});
    await until(() => late.length).toBeGreaterThan(0);
    await stage.operate("previous", {});
    await stands({ entry: entry! });
    await stage.operate("pause", {});
    const again = other.locator(`.player-bar .cover img[src="${own}"].shown`);
    await again.waitFor();
    const addresses = late.map((route) => route.request().url());
    await Promise.all(late.map((route) => route.continue()));
    await other.unroute("**/*");
    // Once these have arrived, so have the late ones of the same address.
    await other.evaluate(
      (all) =>
        Promise.all(
          all.map((address) => {
            const picture = new Image();
            picture.src = address;
            return picture.decode();
          }),
        ),
      addresses,
    );
    expect(await again.count()).toBe(1);
    await leave(other);
  });
});
