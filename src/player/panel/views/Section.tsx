import { useEffect, useState } from "preact/hooks";
import type { Row } from "../api/types";
import { expectedLayout, layoutOf } from "../model/paths";
import { keepPart, keptPart, type Step } from "../router";
import { lists, t, titleOf } from "../state";
import { play } from "../parts/Actions";
import { Icon } from "../parts/Icon";
import { Link } from "../parts/Link";
import { PartFailure } from "../parts/Failure";
import { Shelf } from "../parts/Shelf";
import { TileSkeleton, urlOf } from "../parts/Tiles";
import { TrackRow, TrackSkeleton } from "../parts/Tracks";

const tilesShown = 12;
const tracksShown = 6;

interface Props {
  row: Row;
  steps?: Step[] | undefined;
  /** Shows nothing if there are no rows, such as a kind without search results. */
  hideEmpty?: boolean;
  onCount?: (count: number) => void;
}

/** The first rows of a list below its title: a shelf of covers, some tracks, or the lists that it is made of. */
export function Section({ row, steps, hideEmpty, onCount }: Props) {
  const path = row.path ?? "";
  const list = lists.of(path);
  list.changed.value;
  useEffect(() => list.show(0, tilesShown - 1), [list, list.changed.value]);
  const count = list.count;
  useEffect(() => {
    if (count !== undefined) onCount?.(count);
  }, [count]);

  const rows = range(Math.min(count ?? 0, tilesShown)).map((i) => list.at(i));
  const layout = count === undefined ? expectedLayout(path) : layoutOf(rows[0]);
  if (hideEmpty && count === 0) return null;
  const shown = layout === "tracks" ? tracksShown : tilesShown;
  return (
    <section class="section" data-layout={layout}>
      <div class="section-head">
        <h2>
          <Link href={urlOf(row)} steps={steps}>
            {titleOf(row)}
            <Icon name="right" size={18} />
          </Link>
        </h2>
        {layout !== "menu" && count !== undefined && count > shown && (
          <Link href={urlOf(row)} steps={steps} class="see-all" label={t.seeAllOf(titleOf(row))}>
            {t.seeAll}
          </Link>
        )}
      </div>
      {list.fault ? (
        <PartFailure path={path} fault={list.fault} since={list.faultSince} retry={() => list.retry(0)} />
      ) : count === undefined ? (
        <Waiting layout={layout} />
      ) : count === 0 ? (
        <p class="empty">{t.empty}</p>
      ) : layout === "menu" ? (
        <Tabs rows={rows} steps={steps} path={path} label={titleOf(row)} />
      ) : layout === "covers" ? (
        <Shelf rows={rows} steps={steps} path={path} label={titleOf(row)} />
      ) : (
        <TrackShelf rows={rows.slice(0, tracksShown)} path={path} label={titleOf(row)} />
      )}
    </section>
  );
}

/** Placeholders of the size of the rows. */
export function Waiting({ layout }: { layout: "tracks" | "covers" | "menu" }) {
  if (layout === "tracks")
    return (
      <div class="track-shelf" aria-busy="true" aria-label={t.loading} role="group">
        {range(tracksShown).map((i) => (
          <TrackSkeleton key={i} />
        ))}
      </div>
    );
  return (
    <div class="shelf" aria-busy="true" aria-label={t.loading} role="group">
      {range(8).map((i) => (
        <TileSkeleton key={i} />
      ))}
    </div>
  );
}

interface RowsProps {
  rows: (Row | undefined)[];
  steps?: Step[] | undefined;
  /** Of the list that the rows are from. */
  path: string;
  label: string;
}

function TrackShelf({ rows, path, label }: { rows: (Row | undefined)[]; path: string; label: string }) {
  return (
    <div class="track-shelf" role="list" aria-label={label}>
      {rows.map((row, i) => {
        const aria = { role: "listitem" as const, "aria-setsize": rows.length, "aria-posinset": i + 1 };
        if (!row) return <TrackSkeleton key={i} aria={aria} />;
        const what = { row, path, index: i };
        return (
          <TrackRow
            key={i}
            row={row}
            what={what}
            showAlbum={false}
            aria={aria}
            onPlay={() => void play(what)}
          />
        );
      })}
    </div>
  );
}

/** The lists of a branch, one of them open. */
function Tabs({ rows, steps, path, label }: RowsProps) {
  const menu = rows.filter((row): row is Row => row?.type === "container");
  const part = `tab ${path}`;
  const [chosen, setChosen] = useState(keptPart(part) ?? menu[0]?.path);
  const open = menu.find((row) => row.path === chosen) ?? menu[0];
  return (
    <>
      <div class="tabs">
        <div role="group" aria-label={label}>
          {menu.map((row) => (
            <button
              key={row.path}
              class="tab"
              aria-pressed={row === open}
              onClick={() => {
                setChosen(row.path);
                keepPart(part, row.path ?? "");
              }}
            >
              {titleOf(row)}
            </button>
          ))}
        </div>
        {open && (
          <Link
            href={urlOf(open)}
            steps={steps}
            class="see-all"
            label={t.seeAllOf(`${label}, ${titleOf(open)}`)}
          >
            {t.seeAll}
          </Link>
        )}
      </div>
      {open && <Preview key={open.path} row={open} steps={steps} />}
    </>
  );
}

function Preview({ row, steps }: { row: Row; steps?: Step[] | undefined }) {
  const path = row.path ?? "";
  const list = lists.of(path);
  list.changed.value;
  useEffect(() => list.show(0, tilesShown - 1), [list, list.changed.value]);
  if (list.fault)
    return <PartFailure path={path} fault={list.fault} since={list.faultSince} retry={() => list.retry(0)} />;
  if (list.count === undefined) return <Waiting layout={expectedLayout(path)} />;
  if (list.count === 0) return <p class="empty">{t.empty}</p>;
  const rows = range(Math.min(list.count, tilesShown)).map((i) => list.at(i));
  const layout = layoutOf(rows[0]);
  return layout === "tracks" ? (
    <TrackShelf rows={rows.slice(0, tracksShown)} path={path} label={titleOf(row)} />
  ) : (
    <Shelf rows={rows} steps={steps} path={path} label={titleOf(row)} />
  );
}

const range = (n: number): number[] => Array.from({ length: n }, (_, i) => i);
