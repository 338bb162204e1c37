/** The ids of the selected rows, and the row where the selection began. */
export interface Selection {
  ids: ReadonlySet<number>;
  anchor: number | undefined;
}

export const noSelection: Selection = { ids: new Set(), anchor: undefined };

export function toggled(selection: Selection, id: number): Selection {
  const ids = new Set(selection.ids);
  if (!ids.delete(id)) ids.add(id);
  return ids.size === 0 ? noSelection : { ids, anchor: id };
}

/** Selects from the row where the selection began to this one; `order`: the ids of the loaded rows. */
export function extended(selection: Selection, id: number, order: readonly number[]): Selection {
  const from = selection.anchor === undefined ? -1 : order.indexOf(selection.anchor);
  const to = order.indexOf(id);
  if (from < 0 || to < 0) return toggled(noSelection, id);
  const ids = new Set(order.slice(Math.min(from, to), Math.max(from, to) + 1));
  return { ids, anchor: selection.anchor };
}

/** The selection without removed rows. */
export function remaining(selection: Selection, order: readonly number[]): Selection {
  const there = new Set(order);
  const ids = new Set([...selection.ids].filter((id) => there.has(id)));
  return ids.size === selection.ids.size ? selection : ids.size === 0 ? noSelection : { ...selection, ids };
}
