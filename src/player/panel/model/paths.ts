import type { Row } from "../api/types";

/** The form of a path: `prefix:base?param=value&…`. */

function split(path: string): { prefix: string; base: string; params: string } {
  const question = path.indexOf("?");
  const head = question < 0 ? path : path.slice(0, question);
  const colon = head.indexOf(":");
  return {
    prefix: head.slice(0, colon + 1),
    base: head.slice(colon + 1),
    params: question < 0 ? "" : path.slice(question + 1),
  };
}

/** The parents of a path, outermost first: `a:b/c` is below `a:b/`, which is below `a:`. */
export function ancestors(path: string): string[] {
  const { prefix, base } = split(path);
  if (base === "") return [];
  const found = [prefix];
  for (
    let slash = base.indexOf("/");
    slash >= 0 && slash < base.length - 1;
    slash = base.indexOf("/", slash + 1)
  )
    found.push(prefix + base.slice(0, slash + 1));
  return found;
}

/** The path of a query row's results for a text. */
export function resultsPath(queryPath: string, key: string, text: string): string {
  return `${queryPath}${queryPath.includes("?") ? "&" : "?"}${encodeURIComponent(key)}=${encodeURIComponent(text)}`;
}

/** Whether a path is an item of the catalogue rather than a fixed place in the menu. */
export function isItem(path: string): boolean {
  return split(path).params !== "";
}

/** A row that is a fixed list of the menu, such as "Albums" below "Discover". */
export function isMenu(row: Row): boolean {
  if (row.type !== "container" || row.icon) return false;
  const kind = row.containerType ?? "folder";
  return kind === "folder" || (kind === "trackList" && !isItem(row.path ?? ""));
}

/** Whether these are the tracks of one album, from its first. */
export function isAlbum(rows: (Row | undefined)[]): boolean {
  const album = rows[0]?.metaData?.album;
  const number = (i: number): number => rows[i]?.metaData?.originalTrackNumber ?? 0;
  const follows = (i: number): boolean => number(i) === 1 || (i > 0 && number(i) === number(i - 1) + 1);
  return rows.length > 1 && !!album && rows.every((row, i) => row?.metaData?.album === album && follows(i));
}

/** The probable layout of a list, from its path, so that placeholders have the size of its rows. */
export function expectedLayout(path: string): "tracks" | "covers" | "menu" {
  const { base } = split(path);
  if (base.endsWith("/")) return "menu";
  return /(^|\/)tracks$/.test(base) ? "tracks" : "covers";
}

/** The layout of a list, from its first row. */
export function layoutOf(row: Row | undefined): "tracks" | "covers" | "menu" {
  if (!row || row.type === "audio") return "tracks";
  return isMenu(row) || row.type === "query" ? "menu" : "covers";
}
