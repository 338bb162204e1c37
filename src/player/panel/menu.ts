import type { Row } from "./api/types";
import type { Ranges } from "./model/ranges";
import { lists } from "./state";

/** The available services: the rows of the player's root. */
export const rootList = (): Ranges<Row> => lists.of("");
const mostRows = 50;

export interface Menu {
  rows: Row[];
  loading: boolean;
  fault: unknown;
  since: number | undefined;
  retry: () => void;
}

/** The branches of all services, in their order, without search fields. Read it while rendering. */
export function menuOf(): Menu {
  const root = rootList();
  root.changed.value;
  root.show(0, mostRows - 1);
  const menu: Menu = {
    rows: [],
    loading: root.count === undefined,
    fault: root.fault,
    since: root.faultSince,
    retry: () => root.retry(0),
  };
  for (const service of items(root)) {
    if (!service.path) continue;
    const list = lists.of(service.path);
    list.changed.value;
    list.show(0, mostRows - 1);
    menu.loading ||= list.count === undefined;
    if (list.fault !== undefined) {
      menu.fault = list.fault;
      menu.since = list.faultSince;
      menu.retry = () => list.retry(0);
    }
    menu.rows.push(...items(list).filter((row) => row.type === "container"));
  }
  return menu;
}

/** The search containers in the roots of the services. */
export function searchPaths(): string[] {
  const root = rootList();
  root.changed.value;
  return items(root).flatMap((row) => (row.searchPath ? [row.searchPath] : []));
}

function items(list: Ranges<Row>): Row[] {
  return Array.from({ length: Math.min(list.count ?? 0, mostRows) }, (_, i) => list.at(i)).filter(
    (row): row is Row => row !== undefined,
  );
}
