/** Remembers what containers are called and look like, so that a page has its name and cover before any answer. */

export interface Known {
  title: string;
  icon?: string;
  kind?: string;
  playable?: boolean;
}

const storageKey = (language: string): string => `pelk.known.${language}`;
const most = 400;
const saveAfterMs = 300;

export class KnownPaths {
  private readonly entries: Map<string, Known>;
  private timer: ReturnType<typeof setTimeout> | undefined;

  constructor(
    private readonly storage: Pick<Storage, "getItem" | "setItem"> | undefined,
    private readonly language: string,
  ) {
    let stored: unknown;
    try {
      stored = JSON.parse(storage?.getItem(storageKey(language)) ?? "[]");
    } catch {
      stored = [];
    }
    this.entries = new Map(Array.isArray(stored) ? (stored as [string, Known][]) : []);
  }

  get(path: string): Known | undefined {
    return this.entries.get(path);
  }

  add(path: string, known: Known): void {
    this.entries.delete(path);
    this.entries.set(path, known);
    for (const oldest of this.entries.keys()) {
      if (this.entries.size <= most) break;
      this.entries.delete(oldest);
    }
    this.timer ??= setTimeout(() => this.save(), saveAfterMs);
  }

  save(): void {
    clearTimeout(this.timer);
    this.timer = undefined;
    try {
      this.storage?.setItem(storageKey(this.language), JSON.stringify([...this.entries]));
    } catch {
      // A full or forbidden store: it is remembered until the page is closed.
    }
  }
}
