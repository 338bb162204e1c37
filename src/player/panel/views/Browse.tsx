import { useEffect, useState } from "preact/hooks";
import type { Row } from "../api/types";
import { albumFacts } from "../model/album";
import { ancestors, expectedLayout, isAlbum, isItem, layoutOf } from "../model/paths";
import { browseUrl, parseRoute } from "../model/routes";
import type { Ranges } from "../model/ranges";
import { trail, type Step } from "../router";
import { known, learn, lists, pageTitle, sentence, t, titleOf } from "../state";
import { play } from "../parts/Actions";
import { Link } from "../parts/Link";
import { Failure, FailureArea } from "../parts/Failure";
import { Tile, TileSkeleton } from "../parts/Tiles";
import { FailedRow, TrackRow, TrackSkeleton } from "../parts/Tracks";
import { Virtual } from "../parts/Virtual";
import { BrowseHead, heldRows } from "./BrowseHead";
import { Section } from "./Section";

const grid = { least: 160, gap: 22, below: 50 };
const trackHeight = 60;

/** Any list of the content model; its rows determine its layout. */
export function Browse({ path, title: titleInUrl }: { path: string; title: string }) {
  const list = lists.of(path);
  list.changed.value;
  useEffect(() => {
    if (list.count === undefined && list.held === 0) list.show(0, list.size - 1);
  }, [list, list.changed.value]);
  const asked = useTitle(path, titleInUrl);
  const title = asked || t.untitled;
  useEffect(() => {
    pageTitle.value = title;
  }, [title]);

  const steps = useSteps(path);
  const here: Step[] = [...steps, { title: asked, url: browseUrl(path, isItem(path) ? asked : "") }];
  const layout = layoutOf(list.at(0));
  const kind = kindOf(path, list);
  return (
    <>
      <Crumbs steps={steps} title={title} />
      <BrowseHead path={path} title={title} list={list} layout={layout} kind={kind} />
      {list.fault !== undefined ? (
        <Failure fault={list.fault} since={list.faultSince} retry={() => list.retry(0)} />
      ) : list.count === undefined ? (
        <Waiting layout={isItem(path) ? "tracks" : expectedLayout(path)} numbered={isItem(path)} />
      ) : list.count === 0 ? (
        <p class="empty">{t.empty}</p>
      ) : layout === "menu" ? (
        <Branches list={list} steps={here} />
      ) : layout === "covers" ? (
        <Covers list={list} title={title} steps={here} />
      ) : (
        <Tracks list={list} title={title} path={path} kind={kind} />
      )}
    </>
  );
}

/** The kind of container at a path, from its row or its tracks. */
function kindOf(path: string, list: Ranges<Row>): string {
  const told = known.get(path)?.kind;
  if (told !== undefined || !isItem(path)) return told ?? "";
  return isAlbum(heldRows(list)) ? "album" : "";
}

/** The title of a path: as its row had it, as the content model says it, or as the address carries it. */
function useTitle(path: string, titleInUrl: string): string {
  const [title, setTitle] = useState("");
  const remembered = known.get(path)?.title;
  useEffect(() => {
    setTitle("");
    if (remembered) return;
    let current = true;
    learn(path).then(
      (said) => {
        if (current) setTitle(said);
      },
      () => undefined, // the address has one, or the list says what is wrong
    );
    return () => {
      current = false;
    };
  }, [path, remembered]);
  return remembered ?? (title || titleInUrl);
}

/** The breadcrumbs to a path, without itself. A step has no title as long as it is not known. */
function useSteps(path: string): Step[] {
  const [, setLoaded] = useState(0);
  const came = isItem(path) ? trail.value : undefined;
  const steps = (
    came ??
    ancestors(path)
      .slice(1)
      .map((parent) => ({ title: "", url: browseUrl(parent) }))
  ).map((step) => ({ ...step, title: step.title || (known.get(pathOf(step))?.title ?? "") }));
  const missing = steps.filter((step) => !step.title);
  useEffect(() => {
    for (const step of missing)
      learn(pathOf(step)).then(
        () => setLoaded((n) => n + 1),
        () => undefined, // a step without a name is not shown
      );
  }, [missing.map((step) => step.url).join(" ")]);
  return steps;
}

function pathOf({ url }: Step): string {
  const route = parseRoute(new URL(url, location.href));
  return route.view === "browse" ? route.path : "";
}

function Crumbs({ steps, title }: { steps: Step[]; title: string }) {
  return (
    <nav class="crumbs" aria-label={t.breadcrumbs}>
      <ol>
        <li>
          <a href="/">{t.home}</a>
        </li>
        {steps.map(
          (step, i) =>
            step.title && (
              <li key={step.url}>
                <Link href={step.url} steps={steps.slice(0, i)}>
                  <bdi>{step.title}</bdi>
                </Link>
              </li>
            ),
        )}
        <li aria-current="page">
          <bdi>{title}</bdi>
        </li>
      </ol>
    </nav>
  );
}

function Branches({ list, steps }: { list: Ranges<Row>; steps: Step[] }) {
  const rows = Array.from({ length: list.count ?? 0 }, (_, i) => list.at(i));
  return (
    <FailureArea>
      {rows.map((row) => row?.type === "container" && <Section key={row.path} row={row} steps={steps} />)}
    </FailureArea>
  );
}

function Covers({ list, title, steps }: { list: Ranges<Row>; title: string; steps: Step[] }) {
  return (
    <Virtual
      list={list}
      label={title}
      grid={grid}
      draw={({ index, tells, aria }) => {
        const place = list.place(index);
        if (place.state === "ready") return <Tile key={index} row={place.item} steps={steps} aria={aria} />;
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

interface TracksProps {
  list: Ranges<Row>;
  title: string;
  path: string;
  kind: string;
}

function Tracks({ list, title, path, kind }: TracksProps) {
  const onAlbum = kind === "album" || !list.at(0)?.metaData?.album;
  const facts = kind === "album" ? albumFacts(heldRows(list)) : undefined;
  return (
    <>
      <Virtual
        list={list}
        label={title}
        lineHeight={trackHeight}
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
          const row = place.item;
          return (
            <TrackRow
              key={index}
              row={row}
              what={{ row, path, index }}
              number={onAlbum ? (row.metaData?.originalTrackNumber ?? index + 1) : undefined}
              showAlbum={!onAlbum}
              {...(facts && { sub: facts.differing(row) })}
              onPlay={() => void play({ row: { title: titleOf(row) }, path }, index)}
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

function Waiting({ layout, numbered }: { layout: "tracks" | "covers" | "menu"; numbered: boolean }) {
  return (
    <div class={layout === "tracks" ? "" : "shelf wrap"} role="status" aria-label={t.loading}>
      {Array.from({ length: 10 }, (_, i) =>
        layout === "tracks" ? <TrackSkeleton key={i} cover={!numbered} /> : <TileSkeleton key={i} />,
      )}
    </div>
  );
}
