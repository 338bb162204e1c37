import { attempt, client, status, t } from "../state";
import { Icon } from "../parts/Icon";
import { QueueList } from "../parts/QueueList";

export function QueueHead({ level }: { level: 1 | 2 }) {
  const Heading = level === 1 ? "h1" : "h2";
  const count = status.value?.queue.count ?? 0;
  return (
    <div class="queue-head">
      <Heading tabIndex={-1}>{t.queue}</Heading>
      {count > 0 && <span class="head-count">{t.tracks(count)}</span>}
      <button class="button small" disabled={count === 0} onClick={() => void attempt(client.clear())}>
        <Icon name="trash" size={18} />
        {t.clearQueue}
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
