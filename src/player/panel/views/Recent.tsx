import { useEffect } from "preact/hooks";
import { loadRecent, recent } from "../recent";
import { attempt, client, formats, t } from "../state";
import { Icon } from "../parts/Icon";
import { Shelf } from "../parts/Shelf";
import { play } from "../parts/Actions";
import { TrackRow } from "../parts/Tracks";

/** Everything that was played recently: containers as covers, tracks with the time. */
export function Recent() {
  useEffect(() => void loadRecent(), []);
  const items = recent.value;
  const containers = (items ?? []).filter(({ row }) => row.type === "container");
  const tracks = (items ?? []).filter(({ row }) => row.type === "audio");
  const clear = async (): Promise<void> => {
    if (await attempt(client.forgetHistory())) await loadRecent();
  };
  return (
    <>
      <header class="head plain-head">
        <div class="head-text">
          <h1 tabIndex={-1}>{t.recent}</h1>
          {items && items.length > 0 && (
            <div class="head-actions">
              <button class="button small" onClick={() => void clear()}>
                <Icon name="trash" size={18} />
                {t.clearRecent}
              </button>
            </div>
          )}
        </div>
      </header>
      {items?.length === 0 && <p class="empty">{t.empty}</p>}
      {containers.length > 0 && (
        <section class="section">
          <Shelf rows={containers.map(({ row }) => row)} path="recent" label={t.recent} />
        </section>
      )}
      {tracks.length > 0 && (
        <section class="section">
          <div class="section-head">
            <h2>{t.tracksTitle}</h2>
          </div>
          <div class="track-list" role="list" aria-label={t.tracksTitle}>
            {tracks.map(({ row, timeMs }, i) => {
              const what = { row, path: row.path ?? "" };
              return (
                <TrackRow
                  key={`${timeMs} ${row.path}`}
                  row={row}
                  what={what}
                  showAlbum={false}
                  sub={[row.metaData?.performer || row.metaData?.artist, formats.moment(timeMs)]
                    .filter(Boolean)
                    .join(" · ")}
                  onPlay={() => void play(what)}
                  aria={{ role: "listitem", "aria-setsize": tracks.length, "aria-posinset": i + 1 }}
                />
              );
            })}
          </div>
        </section>
      )}
    </>
  );
}
