import { Ranges, type Fetch } from "./ranges";

/** Recently viewed lists: going back shows them at once, at the same position. */
export class Lists<T> {
  private readonly lists = new Map<string, Ranges<T>>();

  constructor(
    private readonly fetchOf: (path: string) => Fetch<T>,
    private readonly most = 24,
  ) {}

  of(path: string): Ranges<T> {
    const list = this.lists.get(path) ?? new Ranges<T>(this.fetchOf(path));
    this.lists.delete(path);
    this.lists.set(path, list);
    for (const oldest of this.lists.keys()) {
      if (this.lists.size <= this.most) break;
      this.lists.delete(oldest);
    }
    return list;
  }

  /** Marks everything as outdated: visible rows stay until the new ones are received. */
  stale(): void {
    for (const list of this.lists.values()) list.stale();
  }
  forget(): void {
    this.lists.clear();
  }
}
