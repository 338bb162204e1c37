import type { Row } from "../api/types";
import { albumFacts } from "../model/album";
import type { Listed } from "../model/fixed";
import type { Numbered } from "../model/order";
import type { Ranges } from "../model/ranges";
import type { Step } from "../router";
import { sentence, t, titleOf } from "../state";
import { play } from "../parts/Actions";
import { Tile, TileSkeleton } from "../parts/Tiles";
import { FailedRow, TrackRow, TrackSkeleton } from "../parts/Tracks";
import { Virtual } from "../parts/Virtual";
import { heldRows } from "./BrowseHead";

const grid = { least: 160, gap: 22, below: 50 };
const trackHeight = 60;

/** The rows of a list as they are shown, perhaps filtered and sorted. */
export interface ShownRows {
  list: Listed<Numbered>;
  /** Receives a function that scrolls to a row. */
  reach: (go: (index: number) => void) => void;
}

/** Covers in a grid. */
export function Covers({ list, reach, title, steps }: ShownRows & { title: string; steps: Step[] }) {
  return (
    <Virtual
      list={list}
      label={title}
      grid={grid}
      reach={reach}
      draw={({ index, tells, aria }) => {
        const place = list.place(index);
        if (place.state === "ready")
          return <Tile key={index} row={place.item.row} steps={steps} aria={aria} />;
        if (place.state === "failed" && tells)
          return (
            <FailedTile
              key={index}
              message={sentence(place.fault)}
              retry={() => list.retry(index)}
              aria={aria}
            />
          );
        if (place.state === "failed" || place.state === "missing")
          return <div key={index} class="tile blank" {...aria} />;
        return <TileSkeleton key={index} aria={aria} />;
      }}
    />
  );
}

function FailedTile({ message, retry, aria }: { message: string; retry: () => void; aria: object }) {
  return (
    <div class="tile failed-tile" {...aria}>
      <p>{message}</p>
      <button class="button small" onClick={retry}>
        {t.tryAgain}
      </button>
    </div>
  );
}

interface TracksProps extends ShownRows {
  /** The list in its own order. */
  all: Ranges<Row>;
  title: string;
  path: string;
  kind: string;
}

/** Tracks below each other. */
export function Tracks({ all, list, reach, title, path, kind }: TracksProps) {
  const onAlbum = kind === "album" || !all.at(0)?.metaData?.album;
  const facts = kind === "album" ? albumFacts(heldRows(all)) : undefined;
  return (
    <>
      <Virtual
        list={list}
        label={title}
        lineHeight={trackHeight}
        reach={reach}
        class={onAlbum ? "track-list" : "track-list with-album"}
        draw={({ index, tells, aria }) => {
          const place = list.place(index);
          if (place.state === "failed")
            return tells ? (
              <FailedRow
                key={index}
                message={sentence(place.fault)}
                retry={() => list.retry(index)}
                aria={aria}
              />
            ) : (
              <div key={index} class="track" {...aria} />
            );
          if (place.state !== "ready") return <TrackSkeleton key={index} cover={!onAlbum} aria={aria} />;
          const { row, index: own } = place.item;
          return (
            <TrackRow
              key={index}
              row={row}
              what={{ row, path, index: own }}
              number={onAlbum ? (row.metaData?.originalTrackNumber ?? own + 1) : undefined}
              showAlbum={!onAlbum}
              {...(facts && { sub: facts.differing(row) })}
              onPlay={() => void play({ row: { title: titleOf(row) }, path }, own)}
              aria={aria}
            />
          );
        }}
      />
      {facts && facts.copyrights.length > 0 && (
        <p class="copyright">
          {facts.copyrights.map((line) => (
            <bdi key={line}>{line}</bdi>
          ))}
        </p>
      )}
    </>
  );
}
