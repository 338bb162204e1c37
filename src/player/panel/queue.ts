import { signal } from "@preact/signals";
import type { QueueEntry } from "./api/types";
import { beforeOf, moved } from "./model/moves";
import { extended, noSelection, toggled } from "./model/selection";
import { attempt, client, notices, queue, status, t, titleOf } from "./state";

/** The listener's operations on the queue. Each change is shown before the player confirms it. */

export const selection = signal(noSelection);

/** The most ranges that are asked for to find the playing entry in a long queue. */
const mostProbes = 20;

/** The ids of the entries that are here, in their order. */
export function heldIds(): number[] {
  const ids: number[] = [];
  for (let index = 0; index < (queue.count ?? 0); ++index) {
    const entry = queue.at(index);
    if (entry) ids.push(entry.id);
  }
  return ids;
}

export const toggleSelected = (entry: QueueEntry): void => {
  selection.value = toggled(selection.value, entry.id);
};
export const selectTo = (entry: QueueEntry): void => {
  selection.value = extended(selection.value, entry.id, heldIds());
};
export const selectNone = (): void => {
  selection.value = noSelection;
};

export async function moveEntry(entry: QueueEntry, from: number, to: number): Promise<void> {
  const before = beforeOf(from, to, queue.count ?? 0, (index) => queue.at(index)?.id);
  if (before === undefined) return;
  queue.edit((items) => moved(items, entry.id, before));
  if (await attempt(client.move(entry.id, before))) notices.say(t.movedTo(titleOf(entry.row), to + 1));
  else queue.stale();
}

/** Moves entries together, in their order, before another one or to the end. */
export async function moveEntries(ids: number[], before: number | null): Promise<void> {
  queue.edit((items) => ids.reduce((now, id) => moved(now, id, before), items));
  for (const id of ids)
    if (!(await attempt(client.move(id, before)))) {
      queue.stale();
      return;
    }
}

export async function removeEntries(ids: number[]): Promise<void> {
  if (!(await attempt(client.remove(ids)))) queue.stale();
}

/** The entry behind the playing one that is not among these, or null at the end. */
export async function entryAfterCurrent(except: ReadonlySet<number>): Promise<number | null> {
  const at = await findCurrent();
  if (at === undefined) return null;
  for (let index = at + 1; index < (queue.count ?? 0); ++index) {
    const id = queue.at(index)?.id ?? (await client.queue(index, index)).entries[0]?.id;
    if (id !== undefined && !except.has(id)) return id;
  }
  return null;
}

/**
 * The place of the playing entry in the queue. The player says its id alone: what is here is looked through, then ranges are asked
 * for, beginning where the ids, which grow from entry to entry as long as nothing was moved, say that it should be.
 */
export async function findCurrent(): Promise<number | undefined> {
  const id = status.value?.entry;
  const count = status.value?.queue.count ?? 0;
  if (id === null || id === undefined || count === 0) return undefined;
  for (let index = 0; index < count; ++index) if (queue.at(index)?.id === id) return index;
  const { size } = queue;
  const pages = Math.ceil(count / size);
  const first = queue.at(0)?.id ?? id;
  const guess = Math.max(0, Math.min(pages - 1, Math.floor((id - first) / size)));
  const order = [guess, ...Array.from({ length: pages }, (_, page) => page).filter((page) => page !== guess)];
  for (const page of order.slice(0, mostProbes)) {
    const { entries } = await client.queue(page * size, page * size + size - 1);
    const place = entries.findIndex((entry) => entry.id === id);
    if (place >= 0) return page * size + place;
  }
  return undefined;
}
