import type { QueueEntry } from "../api/types";
import { togglePlaying } from "../operate";
import {
  entryAfterCurrent,
  moveEntries,
  moveEntry,
  removeEntries,
  selection,
  selectTo,
  toggleSelected,
} from "../queue";
import { attempt, byline, client, sounds, status, t, titleOf } from "../state";
import { placeItems, playItem } from "./Actions";
import { Cover } from "./Cover";
import { Icon } from "./Icon";
import { MenuButton, type MenuItem } from "./Menu";
import { Playing } from "./Tracks";
import type { Drag } from "./useDrag";
import { useTouch } from "./useTouch";
import type { Cell } from "./Virtual";

interface Props {
  entry: QueueEntry;
  index: number;
  /** Of the playing entry, where it is known. */
  currentIndex: number | undefined;
  drag: Drag | undefined;
  aria: Cell["aria"];
  take: (event: PointerEvent, id: number, from: number) => void;
  /** The row was moved by a key: its handle keeps the focus. */
  moved: (id: number) => void;
}

/** One entry of the queue: a press plays it or, while rows are selected, selects it. */
export function QueueRow({ entry, index, currentIndex, drag, aria, take, moved }: Props) {
  const current = entry.id === status.value?.entry;
  const { ids } = selection.value;
  const selected = ids.has(entry.id);
  const title = titleOf(entry.row);
  const target = drag && drag.to === index && drag.id !== entry.id;
  const touch = useTouch({
    longPress: () => toggleSelected(entry),
    swipe: { left: () => void removeEntries([entry.id]), right: () => void removeEntries([entry.id]) },
    follow: (row, dx) => (row.style.transform = dx ? `translateX(${dx}px)` : ""),
  });
  const marks = [
    "track with-cover queue-row",
    current && "current",
    selected && "selected",
    currentIndex !== undefined && index < currentIndex && "played",
    drag?.id === entry.id && "dragged",
    target && (drag.to > drag.from ? "drop-after" : "drop-before"),
  ];
  const press = (event: MouseEvent): void => {
    if (event.shiftKey) selectTo(entry);
    else if (event.ctrlKey || event.metaKey || ids.size > 0) toggleSelected(entry);
    else void (current ? togglePlaying() : attempt(client.jump(entry.id)));
  };
  const label = [title, byline(entry.row)].filter(Boolean).join(" ");
  const name = ids.size > 0 ? t.selectTitle : current && sounds.value ? t.pauseTitle : t.playTitle;
  return (
    <div class={marks.filter(Boolean).join(" ")} data-entry={entry.id} {...aria} {...touch}>
      <span class="track-lead">
        <Cover src={entry.row.icon} />
        {selected ? (
          <span class="checked">
            <Icon name="check" size={22} />
          </span>
        ) : (
          current && <Playing />
        )}
      </span>
      <button
        class="track-main"
        aria-current={current ? "true" : undefined}
        aria-pressed={ids.size > 0 ? selected : undefined}
        aria-label={name(label)}
        onClick={press}
      >
        <span class="track-title" dir="auto">
          {title}
        </span>{" "}
        <span class="track-sub" dir="auto">
          {byline(entry.row)}
        </span>
      </button>
      <MenuButton row={entry.row} items={() => itemsOf(entry, current)} />
      <button
        class="plain remove"
        aria-label={t.removeTitle(title)}
        onClick={() => void removeEntries([entry.id])}
      >
        <Icon name="close" size={18} />
      </button>
      <button
        class="plain grip"
        aria-label={t.moveTitle(title)}
        title={t.moveHint}
        onPointerDown={(event) => take(event, entry.id, index)}
        onKeyDown={(event) => {
          const to = event.key === "ArrowUp" ? index - 1 : event.key === "ArrowDown" ? index + 1 : undefined;
          if (to === undefined) return;
          event.preventDefault();
          moved(entry.id);
          void moveEntry(entry, index, to);
        }}
      >
        <Icon name="grip" size={20} />
      </button>
    </div>
  );
}

function itemsOf(entry: QueueEntry, current: boolean): MenuItem[] {
  return [
    playItem(current, () => attempt(client.jump(entry.id))),
    ...(current
      ? []
      : [
          {
            icon: "next",
            text: t.playNext,
            act: async () => moveEntries([entry.id], await entryAfterCurrent(new Set([entry.id]))),
          } as const,
        ]),
    { icon: "check", text: t.select, act: () => toggleSelected(entry) },
    { icon: "trash", text: t.remove, act: () => removeEntries([entry.id]) },
    ...placeItems(entry.row),
  ];
}
