import { isItem } from "../model/paths";
import { browseUrl } from "../model/routes";
import type { Step } from "../router";
import { togglePlaying } from "../operate";
import { byline, canPlay, isPlayingFrom, sounds, t, titleOf } from "../state";
import type { Row } from "../api/types";
import { MoreButton, placeItems, play, rowItems } from "./Actions";
import { Cover } from "./Cover";
import { Icon, type IconName } from "./Icon";
import { Link } from "./Link";
import { useMenuTouch } from "./useTouch";
import type { Cell } from "./Virtual";

export function urlOf(row: Row): string {
  const path = row.path ?? "";
  return browseUrl(path, isItem(path) ? titleOf(row) : "");
}

export function kindIcon(row: { containerType?: string }): IconName {
  return row.containerType === "artist" ? "person" : row.containerType === "trackList" ? "list" : "disc";
}

/** A cover with its title: an album, an artist or a playlist. */
export function Tile({ row, steps, aria }: { row: Row; steps?: Step[] | undefined; aria?: Cell["aria"] }) {
  const what = { row, path: row.path ?? "" };
  const round = row.containerType === "artist";
  const playable = canPlay(row);
  const current = playable && isPlayingFrom(what.path);
  const pauses = current && sounds.value;
  const touch = useMenuTouch(row, () => (playable ? rowItems(what) : placeItems(row)));
  return (
    <div class={round ? "tile round" : "tile"} {...aria} {...touch}>
      <Link href={urlOf(row)} steps={steps} class="tile-link">
        <Cover src={row.icon} round={round} icon={kindIcon(row)} />
        <span class="tile-title" dir="auto">
          {titleOf(row)}
        </span>
        {!round && byline(row) && byline(row) !== titleOf(row) && (
          <span class="tile-sub" dir="auto">
            {byline(row)}
          </span>
        )}
      </Link>
      {playable && (
        <>
          <button
            class={current ? "tile-play on" : "tile-play"}
            aria-label={(pauses ? t.pauseTitle : t.playTitle)(titleOf(row))}
            onClick={() => void (current ? togglePlaying() : play(what))}
          >
            <Icon name={pauses ? "pauseSolid" : "play"} />
          </button>
          <MoreButton what={what} />
        </>
      )}
    </div>
  );
}

export function TileSkeleton({ aria }: { aria?: Cell["aria"] }) {
  return (
    <div class="tile skeleton" aria-busy="true" {...aria}>
      <span class="cover" />
      <span class="bar" />
    </div>
  );
}
