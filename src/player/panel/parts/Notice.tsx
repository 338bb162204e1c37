import { connection, notices, t } from "../state";
import { Icon } from "./Icon";

/** Notices: shown for a while at the edge of the page, and announced to screen readers. */
export function NoticeArea() {
  return (
    <>
      <div class="notices" role="region" aria-label={t.notices}>
        <div aria-live="polite" aria-relevant="additions">
          {notices.list.value.map((notice) => (
            <div key={notice.id} class={`notice ${notice.kind}`}>
              <p>
                {notice.title && <strong>{notice.title}</strong>}
                {notice.message && <span>{notice.message}</span>}
              </p>
              {notice.action && (
                <button
                  class="notice-action"
                  onClick={() => {
                    notices.remove(notice.id);
                    notice.action?.act();
                  }}
                >
                  {notice.action.text}
                </button>
              )}
              <button class="plain" aria-label={t.dismiss} onClick={() => notices.remove(notice.id)}>
                <Icon name="close" size={18} />
              </button>
            </div>
          ))}
        </div>
      </div>
      <div class="unseen" aria-live="polite">
        {notices.said.value}
      </div>
    </>
  );
}

export function ConnectionLine() {
  return (
    <div class="connection" role="status">
      {connection.value === "lost" && <p>{t.lost}</p>}
    </div>
  );
}
