import { signal } from "@preact/signals";
import type { QueueEntry } from "./api/types";
import { beforeOf, moved } from "./model/moves";
import { extended, noSelection, toggled } from "./model/selection";
import { attempt, client, notices, offerUndo, queue, status, t, titleOf } from "./state";

/** The listener's operations on the queue. Each change is shown before the player confirms it. */

export const selection = signal(noSelection);

/** The ids of the entries that are here, in their order. */
export function heldIds(): number[] {
  const ids: number[] = [];
  for (let index = 0; index < (queue.count ?? 0); ++index) {
    const entry = queue.at(index);
    if (entry) ids.push(entry.id);
  }
  return ids;
}

function held(id: number): QueueEntry | undefined {
  for (let index = 0; index < (queue.count ?? 0); ++index)
    if (queue.at(index)?.id === id) return queue.at(index);
  return undefined;
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
  if (await attempt(client.move([entry.id], before))) notices.say(t.movedTo(titleOf(entry.row), to + 1));
  else queue.stale();
}

/** Moves entries together, in their order, before another one or to the end. */
export async function moveEntries(ids: number[], before: number | null): Promise<void> {
  queue.edit((items) => ids.reduce((now, id) => moved(now, id, before), items));
  if (!(await attempt(client.move(ids, before)))) queue.stale();
}

export async function removeEntries(ids: number[]): Promise<void> {
  const title = ids.length === 1 ? titleOf(held(ids[0]!)?.row) : "";
  if (await attempt(client.remove(ids))) offerUndo(title ? t.removed(title) : t.removedTracks(ids.length));
  else queue.stale();
}

export async function clearQueue(): Promise<void> {
  if (await attempt(client.clear())) offerUndo(t.cleared);
}

/** The entry behind the playing one that is not among these, or null at the end. */
export async function entryAfterCurrent(except: ReadonlySet<number>): Promise<number | null> {
  const at = status.value?.place;
  if (at === null || at === undefined) return null;
  for (let index = at + 1; index < (queue.count ?? 0); ++index) {
    const id = queue.at(index)?.id ?? (await client.queue(index, index)).entries[0]?.id;
    if (id !== undefined && !except.has(id)) return id;
  }
  return null;
}
