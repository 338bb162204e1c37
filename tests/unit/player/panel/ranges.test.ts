import { describe, expect, test } from "vitest";
import { Ranges, type Page } from "../../../../src/player/panel/model/ranges";

interface Asked {
  from: number;
  to: number;
  abort: AbortSignal;
  answer: (page: Page<number>) => void;
  fail: (fault: unknown) => void;
}

/** A list of whole numbers, each row its own index, answered by hand. */
function list(size = 50, kept = 12) {
  const asked: Asked[] = [];
  const ranges = new Ranges<number>(
    (from, to, abort) => new Promise((answer, fail) => asked.push({ from, to, abort, answer, fail })),
    size,
    kept,
  );
  const answer = async (request: Asked, count: number): Promise<void> => {
    const last = Math.min(request.to, count - 1);
    const items = Array.from({ length: Math.max(0, last - request.from + 1) }, (_, i) => request.from + i);
    request.answer({ from: request.from, count, items });
    await Promise.resolve();
  };
  const show = async (first: number, last: number, count: number): Promise<void> => {
    const before = asked.length;
    ranges.show(first, last);
    for (const request of asked.slice(before)) await answer(request, count);
  };
  return { ranges, asked, answer, show };
}

describe("a list in ranges", () => {
  test("requests whole ranges around the visible rows, once", () => {
    const { ranges, asked } = list();
    ranges.show(60, 110);
    ranges.show(61, 111);
    expect(asked.map(({ from, to }) => [from, to])).toEqual([
      [50, 99],
      [100, 149],
    ]);
    expect(ranges.count).toBeUndefined();
  });

  test("requests nothing beyond its end", async () => {
    const { ranges, asked, show } = list();
    await show(0, 9, 70);
    ranges.show(60, 500);
    expect(asked.map(({ from }) => from)).toEqual([0, 50]);
  });

  test("returns the loaded rows, and the state of the others", async () => {
    const { ranges, asked, answer } = list();
    ranges.show(0, 120);
    await answer(asked[0]!, 1000);
    asked[1]!.fail("no");
    await Promise.resolve();
    expect(ranges.place(49)).toEqual({ state: "ready", item: 49 });
    expect(ranges.place(50)).toEqual({ state: "failed", fault: "no" });
    expect(ranges.place(100)).toEqual({ state: "loading" });
    expect(ranges.place(999)).toEqual({ state: "loading" });
    expect(ranges.count).toBe(1000);
    expect(ranges.fault).toBeUndefined();
  });

  test("reports the failure of its first range", async () => {
    const { ranges, asked } = list();
    ranges.show(0, 9);
    asked[0]!.fail("no");
    await Promise.resolve();
    expect(ranges.fault).toBe("no");
  });

  test("requests a failed range only at a retry", async () => {
    const { ranges, asked, answer } = list();
    ranges.show(0, 9);
    asked[0]!.fail("no");
    await Promise.resolve();
    ranges.show(0, 9);
    expect(asked).toHaveLength(1);
    ranges.retry(7);
    await answer(asked[1]!, 10);
    expect(ranges.at(7)).toBe(7);
  });

  test("keeps at most the given number of ranges, including the visible ones and the first", async () => {
    const { ranges, show } = list(50, 3);
    for (let first = 0; first < 100_000; first += 50) await show(first, first + 49, 100_000);
    expect(ranges.held).toBeLessThanOrEqual(5);
    expect(ranges.at(99_999)).toBe(99_999);
    expect(ranges.at(0)).toBe(0);
    expect(ranges.at(50_000)).toBeUndefined();
  });

  test("abandons a range that has been scrolled past", async () => {
    const { ranges, asked, answer } = list();
    ranges.show(500, 510);
    ranges.show(5_000, 5_010);
    expect(asked[0]!.abort.aborted).toBe(true);
    await answer(asked[0]!, 10_000);
    expect(ranges.at(500)).toBeUndefined();
    await answer(asked[1]!, 10_000);
    expect(ranges.at(5_000)).toBe(5_000);
  });

  test("shows stale rows until they have been loaded again", async () => {
    const { ranges, asked, answer, show } = list();
    await show(0, 9, 10);
    ranges.stale();
    expect(ranges.at(3)).toBe(3);
    ranges.show(0, 9);
    expect(asked).toHaveLength(2);
    expect(ranges.at(3)).toBe(3);
    await answer(asked[1]!, 2);
    expect(ranges.count).toBe(2);
    expect(ranges.place(3)).toEqual({ state: "missing" });
  });

  test("drops the response to a request that became stale", async () => {
    const { ranges, asked, answer } = list();
    ranges.show(0, 9);
    ranges.stale();
    await answer(asked[0]!, 10);
    expect(ranges.count).toBeUndefined();
  });

  test("moves a row across two ranges before a response confirms it", async () => {
    const { ranges, show } = list(4);
    await show(0, 7, 8);
    ranges.edit((items) => [...items.slice(1), items[0]!]);
    expect([3, 4, 7].map((i) => ranges.at(i))).toEqual([4, 5, 0]);
  });

  test("abandons its requests when nothing is visible any more", () => {
    const { ranges, asked } = list();
    ranges.show(0, 9);
    ranges.rest();
    expect(asked[0]!.abort.aborted).toBe(true);
    expect(ranges.held).toBe(0);
  });
});
