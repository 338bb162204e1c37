import { signal } from "@preact/signals";
import type { Place, Ranges } from "./ranges";

/** The part of a list that a view needs. */
export type Listed<T> = Pick<Ranges<T>, "count" | "changed" | "place" | "show" | "retry">;

/** A list whose rows are all here. */
export class Fixed<T> implements Listed<T> {
  readonly changed = signal(0);
  constructor(private readonly items: T[]) {}
  get count(): number {
    return this.items.length;
  }
  place(index: number): Place<T> {
    const item = this.items[index];
    return item === undefined ? { state: "missing" } : { state: "ready", item };
  }
  show(): void {}
  retry(): void {}
}
