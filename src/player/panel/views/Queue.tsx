import {
  clearQueue,
  entryAfterCurrent,
  heldIds,
  moveEntries,
  removeEntries,
  selection,
  selectNone,
} from "../queue";
import { known, playingFrom, status, t } from "../state";
import { browseUrl } from "../model/routes";
import { Icon } from "../parts/Icon";
import { QueueList } from "../parts/QueueList";

export function QueueHead({ level }: { level: 1 | 2 }) {
  const Heading = level === 1 ? "h1" : "h2";
  const count = status.value?.queue.count ?? 0;
  return (
    <div class="queue-top">
      <div class="queue-head">
        <Heading tabIndex={-1}>{t.queue}</Heading>
        {count > 0 && <span class="head-count">{t.tracks(count)}</span>}
        <button class="button small" disabled={count === 0} onClick={() => void clearQueue()}>
          <Icon name="trash" size={18} />
          {t.clearQueue}
        </button>
        <From />
      </div>
      {selection.value.ids.size > 0 && <Selected />}
    </div>
  );
}

/** What the queue was filled from, as far as this page knows. */
function From() {
  const path = playingFrom.value;
  const title = path ? known.get(path)?.title : undefined;
  return title ? (
    <p class="queue-from">
      {t.from}{" "}
      <a class="name-link" href={browseUrl(path, title)} dir="auto">
        {title}
      </a>
    </p>
  ) : null;
}

/** What can be done with the rows that are selected. */
function Selected() {
  const { ids } = selection.value;
  const inOrder = (): number[] => heldIds().filter((id) => ids.has(id));
  return (
    <div class="selected-bar" role="toolbar" aria-label={t.selected(ids.size)}>
      <strong role="status">{t.selected(ids.size)}</strong>
      <button
        class="button small"
        onClick={() => {
          const wanted = inOrder();
          selectNone();
          void entryAfterCurrent(ids).then((before) => moveEntries(wanted, before));
        }}
      >
        {t.playNext}
      </button>
      <button
        class="button small"
        onClick={() => {
          void removeEntries([...ids]);
          selectNone();
        }}
      >
        <Icon name="trash" size={18} />
        {t.remove}
      </button>
      <button class="plain" aria-label={t.selectNone} onClick={selectNone}>
        <Icon name="close" size={20} />
      </button>
    </div>
  );
}

export function Queue() {
  return (
    <div class="narrow">
      <QueueHead level={1} />
      <QueueList />
    </div>
  );
}
