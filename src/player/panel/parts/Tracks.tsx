import type { Row } from "../api/types";
import { togglePlaying } from "../operate";
import { canPlay, currentPath, formats, sounds, status, t, titleOf } from "../state";
import { MoreButton, placeItems, rowItems, type Playable } from "./Actions";
import { Cover } from "./Cover";
import { Icon } from "./Icon";
import { AlbumName } from "./Names";
import { useMenuTouch } from "./useTouch";
import type { Cell } from "./Virtual";

interface Props {
  row: Row;
  what: Playable;
  /** The first column: the track's number on an album, otherwise its cover. */
  number?: number | undefined;
  showAlbum: boolean;
  /** The line below the title; default: the performer. */
  sub?: string;
  onPlay: () => void;
  aria?: Cell["aria"];
}

/** One track of a list: a press plays it. */
export function TrackRow({ row, what, number, showAlbum, sub, onPlay, aria }: Props) {
  const current = row.path !== undefined && row.path === currentPath.value;
  const meta = row.metaData ?? {};
  const below = sub ?? (meta.performer || meta.artist);
  const playable = canPlay(row);
  const touch = useMenuTouch(row, () => (playable ? rowItems(what) : placeItems(row)));
  return (
    <div
      {...touch}
      class={`track${current ? " current" : ""}${number === undefined ? " with-cover" : ""}`}
      {...aria}
    >
      <span class="track-lead">
        {number === undefined ? <Cover src={row.icon} /> : <span class="track-number">{number || ""}</span>}
        {current && <Playing />}
      </span>
      <button
        class="track-main"
        disabled={!playable}
        aria-current={current ? "true" : undefined}
        aria-label={(current && sounds.value ? t.pauseTitle : t.playTitle)(
          [titleOf(row), below].filter(Boolean).join(" "),
        )}
        onClick={() => (current ? void togglePlaying() : onPlay())}
      >
        <span class="track-title" dir="auto">
          {titleOf(row)}
        </span>{" "}
        {below && (
          <span class="track-sub" dir="auto">
            {below}
          </span>
        )}
      </button>
      {showAlbum && (
        <>
          <span class="track-album" dir="auto">
            <AlbumName row={row} />
          </span>
          <span class="track-album track-more">{meta.genre}</span>
          <span class="track-album track-more">{meta.date ? formats.day(meta.date) : ""}</span>
        </>
      )}
      {playable ? <MoreButton what={what} /> : <span />}
    </div>
  );
}

/** Three bars that move while there is sound. */
export function Playing() {
  const moves = status.value?.state === "playing" && !status.value.stalled;
  return (
    <span class={moves ? "bars moving" : "bars"} aria-hidden="true">
      <i />
      <i />
      <i />
    </span>
  );
}

export function TrackSkeleton({ aria, cover = true }: { aria?: Cell["aria"]; cover?: boolean }) {
  return (
    <div class={`track skeleton${cover ? " with-cover" : ""}`} aria-busy="true" {...aria}>
      <span class="track-lead">{cover && <span class="cover" />}</span>
      <span class="track-main">
        <span class="bar" />
        <span class="bar short" />
      </span>
    </div>
  );
}

/** A row whose range failed; the first of them offers to try again. */
export function FailedRow({
  aria,
  message,
  retry,
}: {
  aria?: Cell["aria"];
  message: string;
  retry: () => void;
}) {
  return (
    <div class="failed-row" {...aria}>
      <Icon name="close" size={18} />
      <span>{message}</span>
      <button class="button small" onClick={retry}>
        {t.tryAgain}
      </button>
    </div>
  );
}
