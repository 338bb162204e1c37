import { afterEach, beforeEach, describe, expect, test, vi } from "vitest";
import { Client, Problem } from "../../../../src/player/panel/api/client";
import { listen, names, type Hearers, type Source } from "../../../../src/player/panel/api/events";
import { service } from "../../../../src/player/panel/service";

function client(answer: () => Response | Promise<Response>) {
  const sent: { url: string; request: RequestInit | undefined }[] = [];
  const made = new Client("de", async (url, request) => {
    sent.push({ url: String(url), request });
    return answer();
  });
  return { made, sent };
}

describe("a request to the player", () => {
  test("uses the panel's language, with the path as one parameter", async () => {
    const { made, sent } = client(() => Response.json({ rows: [] }));
    await made.rows("m:a?b=c&d", 0, 49);
    expect(sent[0]!.url).toBe("/api/rows?path=m%3Aa%3Fb%3Dc%26d&from=0&to=49&lang=de");
  });
  test("sends JSON and accepts a response without a body", async () => {
    const { made, sent } = client(() => new Response(null, { status: 204 }));
    await made.seek(1234.5);
    expect(sent[0]!.url).toBe("/api/player/seek?lang=de");
    expect(sent[0]!.request?.body).toBe('{"positionMs":1235}');
    expect(new Headers(sent[0]!.request?.headers).get("Content-Type")).toBe("application/json");
  });
  test("lets the player add up relative seeks", async () => {
    const { made, sent } = client(() => new Response(null, { status: 204 }));
    await made.seekBy(-10_000);
    expect(sent[0]!.request?.body).toBe('{"byMs":-10000}');
  });
  test("fails with the player's sentence, unchanged", async () => {
    const { made } = client(() =>
      Response.json({ title: "Error", status: 502, detail: "Ungültig.", name: "X" }, { status: 502 }),
    );
    const fault = await made.player().catch((f: unknown) => f);
    expect(fault).toBeInstanceOf(Problem);
    expect(fault).toMatchObject({ message: "Ungültig.", status: 502, errorName: "X", away: false });
  });
  test("fails with the status if the response has no sentence", async () => {
    const { made } = client(() => new Response("<html>", { status: 503, statusText: "Away" }));
    await expect(made.player()).rejects.toMatchObject({ message: "503 Away" });
  });
  test("reports a player that is unreachable", async () => {
    const { made } = client(() => Promise.reject(new TypeError("network")));
    await expect(made.player()).rejects.toMatchObject({ away: true });
  });
  test("that was abandoned is not reported as a failure of the player", async () => {
    const { made } = client(() => Promise.reject(new DOMException("", "AbortError")));
    const abort = new AbortController();
    abort.abort();
    await expect(made.rows("", 0, 1, abort.signal)).rejects.not.toBeInstanceOf(Problem);
  });
});

describe("the event stream", () => {
  class FakeSource implements Source {
    static all: FakeSource[] = [];
    onopen: ((event: Event) => void) | null = null;
    onerror: ((event: Event) => void) | null = null;
    closed = false;
    readonly heard = new Map<string, (event: MessageEvent<string>) => void>();
    constructor(readonly url: string) {
      FakeSource.all.push(this);
    }
    addEventListener(name: string, hear: (event: MessageEvent<string>) => void): void {
      this.heard.set(name, hear);
    }
    say(name: string, data: string): void {
      this.heard.get(name)!({ data } as MessageEvent<string>);
    }
    close(): void {
      this.closed = true;
    }
  }
  const hearers = (): Hearers & { said: unknown[] } => {
    const said: unknown[] = [];
    const note = (name: string) => (data?: unknown) =>
      void said.push(data === undefined ? name : [name, data]);
    return {
      said,
      player: note("player"),
      queue: note("queue"),
      value: note("value"),
      notification: note("notification"),
      connected: note("connected"),
      lost: note("lost"),
    };
  };
  const event = {} as Event;
  beforeEach(() => {
    FakeSource.all = [];
    vi.useFakeTimers();
  });
  afterEach(() => vi.useRealTimers());
  const open = (url: string): Source => new FakeSource(url);

  test("passes each event to its handler, and ignores invalid JSON", () => {
    const heard = hearers();
    listen("/e", heard, open);
    for (const name of names) FakeSource.all[0]!.say(name, `{"n":"${name}"}`);
    FakeSource.all[0]!.say("player", "{");
    expect(heard.said).toEqual(names.map((name) => [name, { n: name }]));
  });
  test("reconnects with growing delays, and at once after a successful connection", () => {
    const heard = hearers();
    listen("/e", heard, open);
    const pauses: number[] = [];
    for (let i = 0; i < 6; ++i) {
      FakeSource.all.at(-1)!.onerror!(event);
      const before = Date.now();
      vi.advanceTimersToNextTimer();
      pauses.push(Date.now() - before);
    }
    expect(pauses).toEqual([500, 1_000, 2_000, 4_000, 8_000, 8_000]);
    FakeSource.all.at(-1)!.onopen!(event);
    FakeSource.all.at(-1)!.onerror!(event);
    const before = Date.now();
    vi.advanceTimersToNextTimer();
    expect(Date.now() - before).toBe(500);
    expect(heard.said.slice(-2)).toEqual(["connected", "lost"]);
    expect(FakeSource.all.slice(0, -1).every((source) => source.closed)).toBe(true);
  });
  test("ignores a stream that it has closed", () => {
    const heard = hearers();
    listen("/e", heard, open);
    FakeSource.all[0]!.onerror!(event);
    FakeSource.all[0]!.say("queue", "{}");
    expect(heard.said).toEqual(["lost"]);
  });
  test("does not reconnect after it was ended", () => {
    const heard = hearers();
    const end = listen("/e", heard, open);
    FakeSource.all[0]!.onerror!(event);
    end();
    vi.advanceTimersByTime(60_000);
    expect(FakeSource.all).toHaveLength(1);
  });
});

describe("the service's values", () => {
  test("give the progress of the login", () => {
    const path = service.values[0]!;
    const state = (value: unknown) =>
      service.loginState({ [path]: { type: 139, qobuzLoginState: { state: value } } });
    expect([0, 1, 2, 3, 9, "x"].map(state)).toEqual([
      "loggedIn",
      "inProgress",
      "loggedOut",
      "failed",
      "unknown",
      "unknown",
    ]);
    expect(service.loginState({})).toBe("unknown");
    expect(service.loginState({ [path]: null })).toBe("unknown");
  });
  test("give the chosen quality", () => {
    const value = service.qualityValue("hires96");
    expect(service.quality({ [service.qualityPath]: value })).toBe("hires96");
    expect(service.quality({})).toBeUndefined();
  });
});
