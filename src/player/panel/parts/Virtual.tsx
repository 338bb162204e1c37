import type { ComponentChildren } from "preact";
import { useEffect, useRef } from "preact/hooks";
import type { Listed } from "../model/fixed";
import { columnsOf, windowOf } from "../model/window";
import { useEdges } from "./useEdges";

/** While scrolling, rows are fetched after a pause of this length, */
const restMs = 70;
/** or after this long at the latest. */
const longestMs = 300;

/** The room that the sticky header of a long list takes. */
const headerHeight = 76;

/** In a list with one column, one row in this many shows that its range failed. */
const tellingRows = 6;

export interface Cell {
  index: number;
  /** Whether this row shows the failure of its range: often enough that one of them is always visible. */
  tells: boolean;
  /** For the element of a row: its position in the whole list, for screen readers. */
  aria: { role: "listitem"; "aria-setsize": number; "aria-posinset": number };
}

interface Props<T> {
  list: Listed<T>;
  label: string;
  /** For a cover grid: the minimum column width, the gap, and the height below the cover. Otherwise one column. */
  grid?: { least: number; gap: number; below: number };
  /** Height of a row of a list with one column. */
  lineHeight?: number;
  class?: string;
  draw: (cell: Cell) => ComponentChildren;
  /** The list's element, for finding a row by its place. */
  box?: (element: HTMLElement | null) => void;
  /** Receives a function that scrolls to a row. */
  reach?: (go: (index: number) => void) => void;
}

/** A list of any length that scrolls with the page: only rows around the visible ones are rendered and requested. */
export function Virtual<T>({
  list,
  label,
  grid,
  lineHeight = 60,
  class: name = "",
  draw,
  box,
  reach,
}: Props<T>) {
  const element = useRef<HTMLDivElement>(null);
  const edges = useEdges(element);
  list.changed.value; // drawn anew when rows come

  const fit = grid && columnsOf(edges.width, grid.least, grid.gap);
  const shape = {
    count: list.count ?? 0,
    columns: fit?.columns ?? 1,
    lineHeight: fit && grid ? fit.width + grid.below + grid.gap : lineHeight,
  };
  const part =
    edges.width > 0 ? windowOf(shape, edges.from, edges.to) : windowOf({ ...shape, count: 0 }, 0, 0);

  useEffect(() => {
    reach?.((index) => {
      const top = (element.current?.getBoundingClientRect().top ?? 0) + scrollY;
      scrollTo(0, top + Math.floor(index / shape.columns) * shape.lineHeight - headerHeight);
    });
  });
  const asked = useRef(0);
  useEffect(() => {
    if (part.last < part.first) return;
    const ask = (): void => {
      asked.current = performance.now();
      list.show(part.first, part.last);
    };
    const since = performance.now() - asked.current;
    const timer = setTimeout(ask, since > longestMs ? 0 : restMs);
    return () => clearTimeout(timer);
  }, [list, list.changed.value, part.first, part.last]);

  const cells: ComponentChildren[] = [];
  for (let index = part.first; index <= part.last; ++index)
    cells.push(
      draw({
        index,
        tells: index % (shape.columns > 1 ? shape.columns : tellingRows) === 0,
        aria: { role: "listitem", "aria-setsize": shape.count, "aria-posinset": index + 1 },
      }),
    );
  return (
    <div
      ref={(self) => {
        element.current = self;
        box?.(self);
      }}
      class="virtual"
      style={{ height: `${Math.max(0, part.height - (grid?.gap ?? 0))}px` }}
    >
      <div
        role="list"
        aria-label={label}
        class={`virtual-part ${name}`}
        style={{
          transform: `translateY(${part.top}px)`,
          ...(grid &&
            fit && {
              display: "grid",
              gridTemplateColumns: `repeat(${fit.columns}, minmax(0, 1fr))`,
              gap: `${grid.gap}px`,
              gridAutoRows: `${fit.width + grid.below}px`,
            }),
        }}
      >
        {cells}
      </div>
    </div>
  );
}
