/** The entry before which a moved entry is placed, or null for the end. */
export function beforeOf(
  from: number,
  to: number,
  count: number,
  idAt: (index: number) => number | undefined,
): number | null | undefined {
  if (from === to || to < 0 || to >= count) return undefined;
  if (to === count - 1) return null;
  return idAt(to < from ? to : to + 1);
}

/** The list with an entry moved before another one or to the end. Unchanged if either is missing. */
export function moved<T extends { id: number }>(items: T[], id: number, before: number | null): T[] {
  const entry = items.find((item) => item.id === id);
  if (!entry) return items;
  const others = items.filter((item) => item !== entry);
  const place = before === null ? others.length : others.findIndex((item) => item.id === before);
  return place < 0 ? items : [...others.slice(0, place), entry, ...others.slice(place)];
}
