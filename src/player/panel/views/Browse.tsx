import { useEffect, useState } from "preact/hooks";
import type { Row } from "../api/types";
import { ancestors, expectedLayout, isAlbum, isItem, layoutOf } from "../model/paths";
import { browseUrl, parseRoute } from "../model/routes";
import type { Ranges } from "../model/ranges";
import { trail, type Step } from "../router";
import { known, learn, lists, pageTitle, t } from "../state";
import { Link } from "../parts/Link";
import { Failure, FailureArea } from "../parts/Failure";
import { TileSkeleton } from "../parts/Tiles";
import { TrackSkeleton } from "../parts/Tracks";
import { BrowseHead, heldRows } from "./BrowseHead";
import { LongList } from "./LongList";
import { Covers, Tracks } from "./Rows";
import { Section } from "./Section";

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
        <LongList list={list} path={path} title={title} tools={kind !== "album"}>
          {(shown) => <Covers list={shown.list} reach={shown.reach} title={title} steps={here} />}
        </LongList>
      ) : (
        <LongList list={list} path={path} title={title} tools={kind !== "album"}>
          {(shown) => (
            <Tracks all={list} list={shown.list} reach={shown.reach} title={title} path={path} kind={kind} />
          )}
        </LongList>
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

function Waiting({ layout, numbered }: { layout: "tracks" | "covers" | "menu"; numbered: boolean }) {
  return (
    <div class={layout === "tracks" ? "" : "shelf wrap"} role="status" aria-label={t.loading}>
      {Array.from({ length: 10 }, (_, i) =>
        layout === "tracks" ? <TrackSkeleton key={i} cover={!numbered} /> : <TileSkeleton key={i} />,
      )}
    </div>
  );
}
