import { useEffect, useLayoutEffect, useRef } from "preact/hooks";
import { remaining } from "../model/selection";
import { heldIds, moveEntries, moveEntry, selection, selectNone } from "../queue";
import { arrival } from "../router";
import { queue, sentence, status, t } from "../state";
import { Icon } from "./Icon";
import { QueueRow } from "./QueueRow";
import { FailedRow, TrackSkeleton } from "./Tracks";
import { useDrag, type Drag } from "./useDrag";
import { Virtual, type Cell } from "./Virtual";

const rowHeight = 64;
/** The playing row stands so far below the top of the screen when the queue is opened. */
const fromTop = 0.3;
/** A list that was just drawn has its height after a frame or two. */
const mostFrames = 30;

/** What was played, what plays and what follows; rows are dragged, moved by the arrow keys, selected and removed. */
export function QueueList() {
  const box = useRef<HTMLElement | null>(null);
  const refocus = useRef<number | undefined>(undefined);
  queue.changed.value;
  const count = status.value?.queue.count ?? 0;
  const currentIndex = useCurrentIndex(box);
  useEffect(() => queue.show(0, queue.size - 1), [status.value?.queue.revision]);
  useSelection();
  const { drag, take } = useDrag({
    box: () => box.current,
    rowHeight,
    count: () => queue.count ?? 1,
    drop: dropped,
  });

  useLayoutEffect(() => {
    if (refocus.current === undefined) return;
    const handle = box.current?.querySelector<HTMLElement>(`[data-entry="${refocus.current}"] .grip`);
    if (handle && document.activeElement !== handle) handle.focus();
    if (handle) refocus.current = undefined;
  });

  const draw = ({ index, tells, aria }: Cell) => {
    const place = queue.place(index);
    if (place.state === "failed") {
      const message = sentence(place.fault);
      const retry = (): void => queue.retry(index);
      return tells ? <FailedRow key={`f${index}`} message={message} retry={retry} aria={aria} /> : null;
    }
    if (place.state !== "ready") return <TrackSkeleton key={`w${index}`} aria={aria} />;
    return (
      <QueueRow
        key={`e${place.item.id}`}
        entry={place.item}
        index={index}
        currentIndex={currentIndex}
        drag={drag}
        aria={aria}
        take={take}
        moved={(id) => (refocus.current = id)}
      />
    );
  };

  if (queue.fault !== undefined)
    return <FailedRow message={sentence(queue.fault)} retry={() => queue.retry(0)} />;
  if (count === 0) return <EmptyQueue />;
  return (
    <Virtual
      list={queue}
      label={t.queue}
      lineHeight={rowHeight}
      class={drag ? "queue-rows dragging" : "queue-rows"}
      box={(element) => (box.current = element)}
      draw={draw}
    />
  );
}

function EmptyQueue() {
  return (
    <div class="nothing">
      <Icon name="queue" size={40} />
      <p>
        <strong>{t.queueEmpty}</strong>
      </p>
      <p>{t.queueEmptyHint}</p>
    </div>
  );
}

/** A dragged row that is selected takes the other selected rows with it. */
function dropped({ id, from, to }: Drag): void {
  const { ids } = selection.value;
  const entry = queue.at(from);
  if (!ids.has(id) || ids.size === 1) {
    if (entry?.id === id) void moveEntry(entry, from, to);
    return;
  }
  const order = heldIds();
  let next = to > from ? to + 1 : to;
  while (ids.has(queue.at(next)?.id ?? -1)) ++next;
  void moveEntries(
    order.filter((each) => ids.has(each)),
    queue.at(next)?.id ?? null,
  );
}

/** Scrolls to a row that would stand low on the screen or below it, as soon as the list has its height. */
function beginAt(box: { current: HTMLElement | null }, index: number): void {
  let frames = 0;
  const go = (): void => {
    if (!box.current) return;
    const top = box.current.getBoundingClientRect().top + scrollY + index * rowHeight;
    if (top < innerHeight * 0.6) return;
    const wanted = Math.round(top - innerHeight * fromTop);
    const most = document.documentElement.scrollHeight - innerHeight;
    if (box.current.offsetHeight === 0 && ++frames < mostFrames) requestAnimationFrame(go);
    else scrollTo(0, Math.min(wanted, most));
  };
  go();
}

/** The place of the current entry. A queue begins there, unless the listener returned to it. */
function useCurrentIndex(box: { current: HTMLElement | null }): number | undefined {
  const opened = useRef(false);
  const place = status.value?.place ?? undefined;
  useEffect(() => {
    // A queue that was emptied and restored is opened again.
    if (queue.count === 0) opened.current = false;
    if (place === undefined || opened.current || !queue.count) return;
    opened.current = true;
    if (arrival.value.scroll === 0 && scrollY === 0) beginAt(box, place);
  }, [place, queue.count]);
  return place;
}

/** Deselects removed rows; Escape and leaving the page clear the selection. */
function useSelection(): void {
  const revision = status.value?.queue.revision;
  useEffect(() => {
    // Rows that are not loaded stay selected.
    const ids = heldIds();
    if (ids.length === queue.count) selection.value = remaining(selection.value, ids);
  }, [revision, queue.changed.value]);
  useEffect(() => {
    const escape = (event: KeyboardEvent): void => {
      if (event.key === "Escape" && !document.querySelector("dialog[open]")) selectNone();
    };
    addEventListener("keydown", escape);
    return () => {
      removeEventListener("keydown", escape);
      selectNone();
    };
  }, []);
}
