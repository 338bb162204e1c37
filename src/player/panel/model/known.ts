/** Titles and covers of containers, so that a page has them before any response. */
export interface Known {
  title: string;
  icon?: string;
  kind?: string;
  playable?: boolean;
}

const saveAfterMs = 300;

/** Remembers values by name until the browser's tab is closed; drops the oldest if there are too many. */
export class Remembered<T> {
  private readonly entries: Map<string, T>;
  private timer: ReturnType<typeof setTimeout> | undefined;

  constructor(
    private readonly storage: Pick<Storage, "getItem" | "setItem"> | undefined,
    private readonly storageKey: string,
    private readonly most = 400,
  ) {
    let stored: unknown;
    try {
      stored = JSON.parse(storage?.getItem(storageKey) ?? "[]");
    } catch {
      stored = [];
    }
    this.entries = new Map(Array.isArray(stored) ? (stored as [string, T][]) : []);
  }

  get(name: string): T | undefined {
    return this.entries.get(name);
  }

  add(name: string, value: T): void {
    this.entries.delete(name);
    this.entries.set(name, value);
    for (const oldest of this.entries.keys()) {
      if (this.entries.size <= this.most) break;
      this.entries.delete(oldest);
    }
    this.timer ??= setTimeout(() => this.save(), saveAfterMs);
  }

  save(): void {
    clearTimeout(this.timer);
    this.timer = undefined;
    try {
      this.storage?.setItem(this.storageKey, JSON.stringify([...this.entries]));
    } catch {
      // Storage is full or forbidden: remembered until the page is closed.
    }
  }
}

export class KnownPaths extends Remembered<Known> {
  constructor(storage: Pick<Storage, "getItem" | "setItem"> | undefined, language: string) {
    super(storage, `pelk.known.${language}`);
  }
}
