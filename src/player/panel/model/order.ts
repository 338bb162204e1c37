import type { Row } from "../api/types";

/** A row and its place in the whole list, which stays its place however the list is sorted. */
export interface Numbered {
  row: Row;
  index: number;
}

export const sortFields = ["title", "artist", "album", "date"] as const;
export type SortField = (typeof sortFields)[number];

/** Lists of up to this length are loaded at once to be filtered and sorted. */
export const mostSorted = 2_000;

function textOf(row: Row, field: SortField): string {
  const meta = row.metaData;
  if (field === "title") return row.title ?? "";
  return (field === "artist" ? meta?.performer || meta?.artist : field === "album" ? meta?.album : "") ?? "";
}

/** The fields in which these rows differ. A list of artists has titles only. */
export function fieldsOf(rows: Row[]): SortField[] {
  const differ = (field: SortField): boolean =>
    new Set(rows.map((row) => (field === "date" ? (row.metaData?.date ?? 0) : textOf(row, field)))).size > 1;
  return sortFields.filter(differ);
}

/** Text without marks and case, in which a filter is searched. */
const plain = (text: string): string => text.normalize("NFD").replace(/\p{M}/gu, "").toLowerCase();

/** The rows that contain all words of a filter. */
export function filtered(rows: Numbered[], filter: string): Numbered[] {
  const words = plain(filter).split(/\s+/).filter(Boolean);
  if (words.length === 0) return rows;
  return rows.filter(({ row }) => {
    const meta = row.metaData;
    const all = plain([row.title, meta?.artist, meta?.performer, meta?.album, meta?.composer].join("\n"));
    return words.every((word) => all.includes(word));
  });
}

/** The rows in the order of a field: texts as the language sorts them, dates with the newest first. */
export function sorted(rows: Numbered[], field: SortField | "", language: string): Numbered[] {
  if (field === "") return rows;
  if (field === "date")
    return [...rows].sort((a, b) => (b.row.metaData?.date ?? 0) - (a.row.metaData?.date ?? 0));
  const { compare } = new Intl.Collator(language, { numeric: true, ignorePunctuation: true });
  const textsOf = new Map(rows.map(({ row, index }) => [index, textOf(row, field)]));
  return [...rows].sort((a, b) => {
    const [one, other] = [textsOf.get(a.index)!, textsOf.get(b.index)!];
    // Rows without the text come last.
    return Number(one === "") - Number(other === "") || compare(one, other);
  });
}

/** The mark of a text in the letter rail: its Latin letter, "#" for digits, "…" for other scripts and no text. */
export function letterOf(text: string): string {
  const first = text
    .normalize("NFD")
    .replace(/^[^\p{L}\p{N}]+/u, "")
    .charAt(0)
    .toUpperCase();
  if (/[A-Z]/.test(first)) return first;
  return first === "" || /\p{L}/u.test(first) ? "…" : "#";
}

/** Each letter and the place of its first row, for rows that are sorted by a text. */
export function lettersOf(rows: Numbered[], field: SortField): [letter: string, place: number][] {
  const places = new Map<string, number>();
  rows.forEach(({ row }, place) => {
    const letter = letterOf(textOf(row, field));
    if (!places.has(letter)) places.set(letter, place);
  });
  return [...places].sort(([, a], [, b]) => a - b);
}
