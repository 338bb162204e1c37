import { signal } from "@preact/signals";

/** A fetched range of a list. */
export interface Page<T> {
  from: number;
  count: number;
  items: T[];
}

export type Fetch<T> = (from: number, to: number, abort: AbortSignal) => Promise<Page<T>>;

interface Part<T> {
  state: "loading" | "ready" | "failed";
  items: T[];
  abort?: AbortController;
  fault?: unknown;
  /** Time of the first of these consecutive failures, in milliseconds since the epoch. */
  since?: number;
  /** Outdated rows, shown until the new response is received. */
  stale?: boolean;
}

/** One place of a list as it is shown. */
export type Place<T> =
  | { state: "ready"; item: T }
  | { state: "loading" }
  | { state: "failed"; fault: unknown }
  /** The list is shorter than it said. */
  | { state: "missing" };

/**
 * A long list of which only the ranges around what is visible are asked for and kept. `changed` grows whenever something that
 * can be seen differs; read it in a component to be drawn anew.
 */
export class Ranges<T> {
  readonly changed = signal(0);
  private readonly parts = new Map<number, Part<T>>();
  private total: number | undefined;

  constructor(
    private readonly fetch: Fetch<T>,
    readonly size = 50,
    /** The number of ranges kept in addition to the visible ones. */
    private readonly kept = 12,
  ) {}

  /** How many rows there are; undefined until the first answer. */
  get count(): number | undefined {
    return this.total;
  }
  /** How many ranges are held. */
  get held(): number {
    return this.parts.size;
  }
  /** The fault of the first range, if there are no rows at all. */
  get fault(): unknown {
    return this.total === undefined ? this.parts.get(0)?.fault : undefined;
  }
  /** Since when the first range has failed without a break, in milliseconds since the epoch. */
  get faultSince(): number | undefined {
    return this.parts.get(0)?.since;
  }

  place(index: number): Place<T> {
    const part = this.parts.get(Math.floor(index / this.size));
    if (!part) return { state: "loading" };
    const offset = index % this.size;
    if (offset < part.items.length) return { state: "ready", item: part.items[offset] as T };
    if (part.state === "failed") return { state: "failed", fault: part.fault };
    return { state: part.state === "ready" ? "missing" : "loading" };
  }
  at(index: number): T | undefined {
    const place = this.place(index);
    return place.state === "ready" ? place.item : undefined;
  }

  /** Sets the visible rows, inclusive: fetches missing ranges and drops distant ones. */
  show(first: number, last: number): void {
    const from = Math.max(0, Math.floor(first / this.size));
    const to = Math.max(from, Math.floor(Math.min(last, (this.total ?? last + 1) - 1) / this.size));
    for (const [number, part] of this.parts) {
      // Requests for rows that were scrolled past are abandoned.
      if (part.state === "loading" && !part.stale && (number < from || number > to) && number !== 0) {
        part.abort?.abort();
        this.parts.delete(number);
      }
    }
    for (let number = from; number <= to; ++number) {
      const part = this.parts.get(number);
      if (!part || (part.stale && part.state !== "loading")) this.load(number);
      else this.touch(number, part);
    }
    this.trim(to - from + 1);
  }

  /** Retries the failed range around a row. */
  retry(index: number): void {
    this.load(Math.floor(index / this.size));
  }

  /** The list is no longer visible: abandons all requests. */
  rest(): void {
    for (const [number, part] of this.parts) {
      if (part.state !== "loading") continue;
      part.abort?.abort();
      this.parts.delete(number);
    }
  }

  /** Marks all ranges as outdated: they stay visible and are fetched again when they are shown next. */
  stale(): void {
    for (const [number, part] of this.parts) {
      part.abort?.abort();
      if (part.state === "ready" || part.items.length > 0)
        this.parts.set(number, { ...part, state: "ready", stale: true });
      else this.parts.delete(number);
    }
    this.changed.value++;
  }

  /** Changes the shown rows before the player confirms it, for example when a row is dragged. */
  edit(change: (items: T[]) => T[]): void {
    const ready = [...this.parts].filter(([, part]) => part.items.length > 0).sort(([a], [b]) => a - b);
    // Adjacent ranges are changed together, so that a row can move between them.
    for (let i = 0; i < ready.length;) {
      let end = i + 1;
      while (end < ready.length && ready[end]![0] === ready[end - 1]![0] + 1) ++end;
      const run = ready.slice(i, end);
      const items = change(run.flatMap(([, part]) => part.items));
      run.forEach(([number, part], k) => {
        this.parts.set(number, { ...part, items: items.slice(k * this.size, (k + 1) * this.size) });
      });
      i = end;
    }
    this.changed.value++;
  }

  private load(number: number): void {
    const before = this.parts.get(number);
    before?.abort?.abort();
    const abort = new AbortController();
    const part: Part<T> = { state: "loading", items: before?.items ?? [], abort };
    if (before?.stale) part.stale = true;
    if (before?.since !== undefined) part.since = before.since;
    this.parts.delete(number);
    this.parts.set(number, part);
    this.changed.value++;
    const from = number * this.size;
    this.fetch(from, from + this.size - 1, abort.signal).then(
      (page) => {
        if (this.parts.get(number) !== part) return;
        this.parts.set(number, { state: "ready", items: page.items });
        this.total = page.count;
        this.changed.value++;
      },
      (fault: unknown) => {
        if (this.parts.get(number) !== part || abort.signal.aborted) return;
        this.parts.set(number, {
          state: "failed",
          items: part.items,
          fault,
          since: part.since ?? Date.now(),
        });
        this.changed.value++;
      },
    );
  }

  /** The map's order is the order of use: the first are those that were visible longest ago. */
  private touch(number: number, part: Part<T>): void {
    this.parts.delete(number);
    this.parts.set(number, part);
  }

  private trim(visible: number): void {
    let tooMany = this.parts.size - visible - this.kept;
    for (const number of [...this.parts.keys()]) {
      if (tooMany <= 0) break;
      if (number === 0) continue; // the head of a list tells what it is
      this.parts.get(number)?.abort?.abort();
      this.parts.delete(number);
      --tooMany;
    }
  }
}
