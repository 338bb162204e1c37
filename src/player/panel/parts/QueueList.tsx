import { useEffect, useLayoutEffect, useRef, useState } from "preact/hooks";
import type { QueueEntry } from "../api/types";
import { beforeOf, moved } from "../model/moves";
import { togglePlaying } from "../operate";
import { attempt, byline, client, notices, queue, sentence, sounds, status, t, titleOf } from "../state";
import { Cover } from "./Cover";
import { Icon } from "./Icon";
import { FailedRow, Playing, TrackSkeleton } from "./Tracks";
import { Virtual, type Cell } from "./Virtual";

const rowHeight = 64;
/** Near the edge of what can be seen, a dragged row pulls the page along. */
const edge = 120;
const pullPixels = 14;

interface Drag {
  id: number;
  from: number;
  to: number;
}

/** What plays and what follows; rows are dragged, moved by the arrow keys and removed. */
export function QueueList() {
  const [drag, setDrag] = useState<Drag | undefined>(undefined);
  const box = useRef<HTMLElement | null>(null);
  const refocus = useRef<number | undefined>(undefined);
  queue.changed.value;
  const count = status.value?.queue.count ?? 0;
  useEffect(() => queue.show(0, queue.size - 1), [status.value?.queue.revision]);

  const move = async (entry: QueueEntry, from: number, to: number): Promise<void> => {
    const before = beforeOf(from, to, queue.count ?? 0, (index) => queue.at(index)?.id);
    if (before === undefined) return;
    queue.edit((items) => moved(items, entry.id, before));
    if (await attempt(client.move(entry.id, before))) notices.say(t.movedTo(titleOf(entry.row), to + 1));
    else queue.stale();
  };
  const remove = async (entry: QueueEntry): Promise<void> => {
    if (!(await attempt(client.remove([entry.id])))) queue.stale();
  };

  useLayoutEffect(() => {
    if (refocus.current === undefined) return;
    const handle = box.current?.querySelector<HTMLElement>(`[data-entry="${refocus.current}"] .grip`);
    if (handle && document.activeElement !== handle) handle.focus();
    if (handle) refocus.current = undefined;
  });

  const take = (event: PointerEvent, entry: QueueEntry, from: number): void => {
    if (event.button !== 0) return;
    event.preventDefault();
    const handle = event.currentTarget as HTMLElement;
    handle.setPointerCapture(event.pointerId);
    let y = event.clientY;
    let frame = 0;
    const current: Drag = { id: entry.id, from, to: from };
    const place = (): void => {
      const top = box.current?.getBoundingClientRect().top ?? 0;
      const to = Math.max(0, Math.min((queue.count ?? 1) - 1, Math.floor((y - top) / rowHeight)));
      if (to === current.to) return;
      current.to = to;
      setDrag({ ...current });
    };
    const pull = (): void => {
      if (y < edge) scrollBy(0, -pullPixels);
      else if (y > innerHeight - edge) scrollBy(0, pullPixels);
      place();
      frame = requestAnimationFrame(pull);
    };
    const end = (dropped: boolean): void => {
      cancelAnimationFrame(frame);
      handle.removeEventListener("pointermove", moving);
      handle.removeEventListener("pointerup", drop);
      handle.removeEventListener("pointercancel", cancel);
      setDrag(undefined);
      if (dropped) void move(entry, current.from, current.to);
    };
    const moving = (next: PointerEvent): void => {
      y = next.clientY;
      place();
    };
    const drop = (): void => end(true);
    const cancel = (): void => end(false);
    handle.addEventListener("pointermove", moving);
    handle.addEventListener("pointerup", drop);
    handle.addEventListener("pointercancel", cancel);
    setDrag({ ...current });
    frame = requestAnimationFrame(pull);
  };

  const row = ({ index, tells, aria }: Cell) => {
    const place = queue.place(index);
    if (place.state === "failed")
      return tells ? (
        <FailedRow
          key={`f${index}`}
          message={sentence(place.fault)}
          retry={() => queue.retry(index)}
          aria={aria}
        />
      ) : null;
    if (place.state !== "ready") return <TrackSkeleton key={`w${index}`} aria={aria} />;
    const entry = place.item;
    const current = entry.id === status.value?.entry;
    const title = titleOf(entry.row);
    const target = drag && drag.to === index && drag.id !== entry.id;
    const marks = [
      "track",
      "with-cover",
      "queue-row",
      current && "current",
      drag?.id === entry.id && "dragged",
      target && (drag.to > drag.from ? "drop-after" : "drop-before"),
    ];
    return (
      <div key={`e${entry.id}`} class={marks.filter(Boolean).join(" ")} data-entry={entry.id} {...aria}>
        <span class="track-lead">
          <Cover src={entry.row.icon} />
          {current && <Playing />}
        </span>
        <button
          class="track-main"
          aria-current={current ? "true" : undefined}
          aria-label={(current && sounds.value ? t.pauseTitle : t.playTitle)(
            [title, byline(entry.row)].filter(Boolean).join(" "),
          )}
          onClick={() => void (current ? togglePlaying() : attempt(client.jump(entry.id)))}
        >
          <span class="track-title" dir="auto">
            {title}
          </span>{" "}
          <span class="track-sub" dir="auto">
            {byline(entry.row)}
          </span>
        </button>
        <button class="plain remove" aria-label={t.removeTitle(title)} onClick={() => void remove(entry)}>
          <Icon name="close" size={18} />
        </button>
        <button
          class="plain grip"
          aria-label={t.moveTitle(title)}
          title={t.moveHint}
          onPointerDown={(event) => take(event, entry, index)}
          onKeyDown={(event) => {
            const to =
              event.key === "ArrowUp" ? index - 1 : event.key === "ArrowDown" ? index + 1 : undefined;
            if (to === undefined) return;
            event.preventDefault();
            refocus.current = entry.id;
            void move(entry, index, to);
          }}
        >
          <Icon name="grip" size={20} />
        </button>
      </div>
    );
  };

  if (queue.fault !== undefined)
    return <FailedRow message={sentence(queue.fault)} retry={() => queue.retry(0)} />;
  if (count === 0)
    return (
      <div class="nothing">
        <Icon name="queue" size={40} />
        <p>
          <strong>{t.queueEmpty}</strong>
        </p>
        <p>{t.queueEmptyHint}</p>
      </div>
    );
  return (
    <Virtual
      list={queue}
      label={t.queue}
      lineHeight={rowHeight}
      class={drag ? "queue-rows dragging" : "queue-rows"}
      box={(element) => (box.current = element)}
      draw={row}
    />
  );
}
