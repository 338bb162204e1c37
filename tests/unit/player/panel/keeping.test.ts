import { afterEach, beforeEach, describe, expect, test, vi } from "vitest";
import { KnownPaths } from "../../../../src/player/panel/model/known";
import { Lists } from "../../../../src/player/panel/model/lists";
import { Notices } from "../../../../src/player/panel/model/notices";

beforeEach(() => void vi.useFakeTimers());
afterEach(() => void vi.useRealTimers());

function store(kept: Record<string, string> = {}) {
  return {
    kept,
    getItem: (key: string) => kept[key] ?? null,
    setItem: (key: string, value: string) => void (kept[key] = value),
  };
}

describe("knowledge about paths", () => {
  test("outlives the page, for each language", () => {
    const storage = store();
    new KnownPaths(storage, "en").add("m:a", { title: "A", icon: "http://x/" });
    vi.runAllTimers();
    expect(new KnownPaths(storage, "en").get("m:a")).toEqual({ title: "A", icon: "http://x/" });
    expect(new KnownPaths(storage, "de").get("m:a")).toBeUndefined();
  });
  test("is limited, and the oldest is dropped first", () => {
    const known = new KnownPaths(undefined, "en");
    for (let i = 0; i < 1_000; ++i) known.add(`m:${i}`, { title: String(i) });
    expect(known.get("m:0")).toBeUndefined();
    expect(known.get("m:999")).toEqual({ title: "999" });
  });
  test("survives a storage that is invalid or full", () => {
    expect(new KnownPaths(store({ "pelk.known.en": "{" }), "en").get("x")).toBeUndefined();
    const full = {
      getItem: () => null,
      setItem: () => {
        throw new Error("full");
      },
    };
    const known = new KnownPaths(full, "en");
    known.add("m:a", { title: "A" });
    vi.runAllTimers();
    expect(known.get("m:a")?.title).toBe("A");
  });
});

describe("recently viewed lists", () => {
  const lists = () => new Lists<string>((path) => async (from) => ({ from, count: 1, items: [path] }), 2);
  test("are the same when the listener returns", () => {
    const kept = lists();
    expect(kept.of("a")).toBe(kept.of("a"));
  });
  test("are limited, and the least recently used one is dropped", () => {
    const kept = lists();
    const [a, b] = [kept.of("a"), kept.of("b")];
    kept.of("a");
    kept.of("c");
    expect(kept.of("a")).toBe(a);
    expect(kept.of("b")).not.toBe(b);
  });
  test("are separate for another listener", () => {
    const kept = lists();
    const a = kept.of("a");
    kept.forget();
    expect(kept.of("a")).not.toBe(a);
  });
});

describe("notices", () => {
  test("disappear after a while", () => {
    const notices = new Notices();
    notices.add("A");
    expect(notices.list.value.map((n) => n.message)).toEqual(["A"]);
    vi.runAllTimers();
    expect(notices.list.value).toEqual([]);
  });
  test("show each sentence once, and are limited", () => {
    const notices = new Notices();
    for (let i = 0; i < 3; ++i) notices.error("B");
    expect(notices.list.value).toHaveLength(1);
    for (let i = 0; i < 9; ++i) notices.add(String(i));
    expect(notices.list.value).toHaveLength(4);
    notices.add("");
    expect(notices.list.value).toHaveLength(4);
  });
});
