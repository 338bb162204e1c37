import type { ComponentChildren } from "preact";
import { useMemo, useRef, useState } from "preact/hooks";
import type { Row } from "../api/types";
import { Fixed, type Listed } from "../model/fixed";
import {
  fieldsOf,
  filtered,
  lettersOf,
  mostSorted,
  sorted,
  type Numbered,
  type SortField,
} from "../model/order";
import type { Place, Ranges } from "../model/ranges";
import { keepPart, keptPart } from "../router";
import { language, t } from "../state";
import { Failure } from "../parts/Failure";
import { LetterRail, ListTools } from "../parts/ListTools";
import { useWhole } from "../parts/useWhole";
import { heldRows } from "./BrowseHead";
import type { ShownRows } from "./Rows";

/** A list with more rows has tools. */
const short = 24;

interface Props {
  list: Ranges<Row>;
  path: string;
  title: string;
  tools: boolean;
  children: (shown: ShownRows) => ComponentChildren;
}

/** A list in its own order, or filtered and sorted. Up to 2,000 rows are loaded for that at once. */
export function LongList({ list, path, title, tools, children }: Props) {
  const count = list.count ?? 0;
  const [filter, setFilter] = useState(String(keptPart("filter") ?? ""));
  const [sort, setSort] = useState((keptPart("sort") ?? "") as SortField | "");
  const tooLong = count > mostSorted;
  const [whole, retry] = useWhole(path, count, !tooLong && (filter.trim() !== "" || sort !== ""));
  const own = useMemo(() => numbered(list), [list]);
  const rows = useMemo(
    () => (whole.state === "ready" ? sorted(filtered(whole.rows, filter), sort, language) : undefined),
    [whole, filter, sort],
  );
  const shown = useMemo(() => (rows ? new Fixed(rows) : own), [rows, own]);
  const go = useRef<(index: number) => void>(() => undefined);
  const reach: ShownRows["reach"] = (scroll) => (go.current = scroll);
  if (!tools || count <= short) return <>{children({ list: own, reach })}</>;
  const letters = rows && (sort === "title" || sort === "artist") ? lettersOf(rows, sort) : [];
  return (
    <>
      <ListTools
        title={title}
        tooLong={tooLong}
        filter={filter}
        onFilter={(text) => {
          setFilter(text);
          keepPart("filter", text);
        }}
        sort={sort}
        fields={fieldsOf(heldRows(list))}
        onSort={(field) => {
          setSort(field);
          keepPart("sort", field);
        }}
      />
      {whole.state === "failed" && <Failure fault={whole.fault} retry={retry} />}
      <p class="unseen" role="status">
        {whole.state === "loading" ? t.loading : rows ? t.entries(rows.length) : ""}
      </p>
      {rows?.length === 0 && <p class="empty">{t.noResults(filter.trim())}</p>}
      <div class={letters.length > 1 ? "with-letters" : undefined} aria-busy={whole.state === "loading"}>
        {children({ list: shown, reach })}
        {letters.length > 1 && <LetterRail letters={letters} go={(place) => go.current(place)} />}
      </div>
    </>
  );
}

/** A list in its own order, each row with its place. */
function numbered(list: Ranges<Row>): Listed<Numbered> {
  return {
    get count() {
      return list.count;
    },
    changed: list.changed,
    place(index): Place<Numbered> {
      const place = list.place(index);
      return place.state === "ready" ? { state: "ready", item: { row: place.item, index } } : place;
    },
    show: (first, last) => list.show(first, last),
    retry: (index) => list.retry(index),
  };
}
