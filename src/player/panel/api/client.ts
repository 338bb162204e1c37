import type {
  Access,
  Session,
  Addition,
  History,
  PlayerStatus,
  QueueAnswer,
  QueueState,
  Repeat,
  RowsAnswer,
  Value,
} from "./types";

/** An error response of the player; the message is a sentence for the listener. */
export class Problem extends Error {
  constructor(
    message: string,
    readonly status: number,
    readonly errorName = "",
    /** The service's error code, if there is one. */
    readonly code = 0,
  ) {
    super(message);
    this.name = "Problem";
  }
  /** The player itself could not be reached. */
  get away(): boolean {
    return this.status === 0;
  }
}

/** Longer than the player's own time-out for a service. */
const requestLimitMs = 60_000;

export class Client {
  /** Called when the player wants its password first. */
  locked: () => void = () => {};

  /** `fetcher` is the browser's fetch; responses are in `language`. */
  constructor(
    private readonly language: string,
    private readonly fetcher: typeof fetch = (...args) => fetch(...args),
  ) {}

  access(): Promise<Access> {
    return this.get("/api/access", {});
  }
  /** Logs this browser in to the player; a cookie remembers it. */
  async unlock(password: string): Promise<void> {
    await this.post("/api/access/login", { password });
  }
  async lock(): Promise<void> {
    await this.post("/api/access/logout", {});
  }
  async sessions(): Promise<Session[]> {
    return (await this.get<{ sessions: Session[] }>("/api/access/sessions", {})).sessions;
  }
  async revoke(session: string): Promise<void> {
    await this.post("/api/access/revoke", { session });
  }
  async setPassword(password: string): Promise<void> {
    await this.post("/api/access/password", { password });
  }

  rows(path: string, from: number, to: number, signal?: AbortSignal): Promise<RowsAnswer> {
    return this.get("/api/rows", { path, from, to }, signal);
  }
  async data(path: string, roles: string[]): Promise<Record<string, unknown>> {
    const query = new URLSearchParams({ path });
    for (const role of roles) query.append("role", role);
    return (await this.get<{ data: Record<string, unknown> }>("/api/data", query)).data;
  }
  async setValue(path: string, value: Value): Promise<void> {
    await this.post("/api/data", { path, role: "value", value });
  }

  queue(from: number, to: number, signal?: AbortSignal): Promise<QueueAnswer> {
    return this.get("/api/player/queue", { from, to }, signal);
  }
  player(): Promise<PlayerStatus> {
    return this.get("/api/player", {});
  }
  async operate(operation: "play" | "pause" | "stop" | "next" | "previous"): Promise<void> {
    await this.post(`/api/player/${operation}`, {});
  }
  async jump(entry: number): Promise<void> {
    await this.post("/api/player/jump", { entry });
  }
  async seek(positionMs: number): Promise<void> {
    await this.post("/api/player/seek", { positionMs: Math.round(positionMs) });
  }
  /** On by a distance, or back; distances that follow each other quickly add up. */
  async seekBy(byMs: number): Promise<void> {
    await this.post("/api/player/seek", { byMs: Math.round(byMs) });
  }
  async volume(change: { percent?: number; muted?: boolean }): Promise<void> {
    await this.post("/api/player/volume", change);
  }
  async mode(change: { repeat?: Repeat; shuffle?: boolean }): Promise<void> {
    await this.post("/api/player/mode", change);
  }
  /** Pauses after some minutes, or stops at the end of the track or the queue. */
  async sleep(wish: { minutes: number } | { at: "off" | "track" | "queue" }): Promise<void> {
    await this.post("/api/player/sleep", wish);
  }
  /** Recently played containers and tracks, the latest first. */
  history(): Promise<History> {
    return this.get("/api/history", {});
  }
  async forgetHistory(): Promise<void> {
    await this.post("/api/history/clear", {});
  }
  add(addition: Addition): Promise<QueueState> {
    return this.post("/api/player/queue/add", addition);
  }
  /** Moves entries together, in the order of the queue. */
  move(entries: number[], before: number | null): Promise<QueueState> {
    return this.post("/api/player/queue/move", { entries, before });
  }
  remove(entries: number[]): Promise<QueueState> {
    return this.post("/api/player/queue/remove", { entries });
  }
  clear(): Promise<QueueState> {
    return this.post("/api/player/queue/clear", {});
  }
  /** Restores the entries that the last change removed. */
  undo(): Promise<QueueState> {
    return this.post("/api/player/queue/undo", {});
  }

  /** The address of an event stream that follows these values. */
  eventsUrl(values: string[]): string {
    const query = new URLSearchParams({ lang: this.language });
    for (const value of values) query.append("value", value);
    return `/api/events?${query}`;
  }

  private get<T>(
    path: string,
    items: Record<string, string | number> | URLSearchParams,
    signal?: AbortSignal,
  ): Promise<T> {
    const query =
      items instanceof URLSearchParams
        ? items
        : new URLSearchParams(Object.entries(items).map(([key, value]) => [key, String(value)]));
    query.set("lang", this.language);
    return this.ask(`${path}?${query}`, { headers: { Accept: "application/json" } }, signal);
  }

  private post<T>(path: string, body: unknown): Promise<T> {
    return this.ask(`${path}?lang=${this.language}`, {
      method: "POST",
      headers: { "Content-Type": "application/json", Accept: "application/json" },
      body: JSON.stringify(body),
    });
  }

  private async ask<T>(url: string, request: RequestInit, signal?: AbortSignal): Promise<T> {
    const limit = new AbortController();
    const timer = setTimeout(() => limit.abort(), requestLimitMs);
    const abort = (): void => limit.abort();
    signal?.addEventListener("abort", abort);
    try {
      const response = await this.fetcher(url, { ...request, signal: limit.signal });
      if (response.ok) return (response.status === 204 ? undefined : await response.json()) as T;
      if (response.status === 401 && !url.startsWith("/api/access/login")) this.locked();
      throw await problemOf(response);
    } catch (fault) {
      if (fault instanceof Problem || signal?.aborted) throw fault;
      throw new Problem("", 0);
    } finally {
      clearTimeout(timer);
      signal?.removeEventListener("abort", abort);
    }
  }
}

async function problemOf(response: Response): Promise<Problem> {
  const said: unknown = await response.json().catch(() => null);
  const text = (key: string): string => {
    const value = said && typeof said === "object" ? (said as Record<string, unknown>)[key] : "";
    return typeof value === "string" ? value : "";
  };
  const sentence = text("detail") || text("title") || `${response.status} ${response.statusText}`.trim();
  const code = said && typeof said === "object" ? (said as { code?: unknown }).code : undefined;
  return new Problem(sentence, response.status, text("name"), typeof code === "number" ? code : 0);
}
