import { useEffect, useLayoutEffect, useRef, useState } from "preact/hooks";
import type { Row } from "../api/types";
import { keepPart, keptPart, type Step } from "../router";
import { t } from "../state";
import { Icon } from "./Icon";
import { Tile, TileSkeleton } from "./Tiles";

/** A shelf has stopped scrolling after this time. */
const restMs = 150;
/** An arrow moves the shelf by this share of its width. */
const turn = 0.85;

interface Props {
  rows: (Row | undefined)[];
  steps?: Step[] | undefined;
  /** Of the list that the rows are from. */
  path: string;
  label: string;
}

/** Covers beside each other, moved by a finger, by a wheel, or by arrows where there is a mouse. */
export function Shelf({ rows, steps, path, label }: Props) {
  const shelf = useRef<HTMLDivElement>(null);
  const timer = useRef<ReturnType<typeof setTimeout>>();
  const [more, setMore] = useState({ before: false, behind: false });
  const part = `shelf ${path}`;
  const look = (): void => {
    if (!shelf.current) return; // a last size or scroll event after the shelf has gone
    const { scrollLeft, scrollWidth, clientWidth } = shelf.current;
    const now = { before: scrollLeft > 4, behind: scrollLeft + clientWidth < scrollWidth - 4 };
    setMore((last) => (last.before === now.before && last.behind === now.behind ? last : now));
  };
  useLayoutEffect(() => {
    shelf.current!.scrollLeft = Number(keptPart(part) ?? 0);
    return () => clearTimeout(timer.current);
  }, []);
  useEffect(() => {
    const sized = new ResizeObserver(look);
    sized.observe(shelf.current!);
    return () => sized.disconnect();
  }, []);
  useEffect(look, [rows.length]);
  const scrolled = (): void => {
    look();
    clearTimeout(timer.current);
    timer.current = setTimeout(() => keepPart(part, shelf.current?.scrollLeft ?? 0), restMs);
  };
  const go = (way: number): void => {
    const { clientWidth } = shelf.current!;
    const calm = matchMedia("(prefers-reduced-motion: reduce)").matches;
    shelf.current!.scrollBy({ left: way * turn * clientWidth, behavior: calm ? "auto" : "smooth" });
  };
  return (
    <div class="shelf-box">
      <div class="shelf" role="list" aria-label={label} ref={shelf} onScroll={scrolled}>
        {rows.map((row, i) => {
          const aria = { role: "listitem" as const, "aria-setsize": rows.length, "aria-posinset": i + 1 };
          return row ? (
            <Tile key={row.path ?? i} row={row} steps={steps} aria={aria} />
          ) : (
            <TileSkeleton key={i} aria={aria} />
          );
        })}
      </div>
      {/* For a pointer. The keyboard goes from cover to cover. */}
      {more.before && (
        <button class="shelf-arrow before" tabIndex={-1} aria-label={t.scrollBack} onClick={() => go(-1)}>
          <Icon name="left" />
        </button>
      )}
      {more.behind && (
        <button class="shelf-arrow behind" tabIndex={-1} aria-label={t.scrollOn} onClick={() => go(1)}>
          <Icon name="right" />
        </button>
      )}
    </div>
  );
}
