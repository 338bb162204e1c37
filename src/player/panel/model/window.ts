/** Which part of a long list is drawn: rows of one height, in one or more columns. */

export interface Grid {
  count: number;
  columns: number;
  /** Height of one line, its gap included. */
  lineHeight: number;
}

export interface Window {
  /** Indexes of the first and the last rendered row; last is -1 if there is none. */
  first: number;
  last: number;
  /** Where the first line begins, from the list's top. */
  top: number;
  /** The height of the whole list. */
  height: number;
}

/** `from` and `to` are the edges of the visible area, from the list's top; a few more lines are rendered on either side. */
export function windowOf(grid: Grid, from: number, to: number, more = 3): Window {
  const lines = Math.ceil(grid.count / grid.columns);
  const firstLine = Math.max(0, Math.min(lines - 1, Math.floor(from / grid.lineHeight)) - more);
  const lastLine = Math.min(lines - 1, Math.floor(Math.max(to, 0) / grid.lineHeight) + more);
  return {
    first: firstLine * grid.columns,
    last: Math.min(grid.count, (lastLine + 1) * grid.columns) - 1,
    top: firstLine * grid.lineHeight,
    height: lines * grid.lineHeight,
  };
}

/** How many columns fit, and how wide each is. */
export function columnsOf(
  width: number,
  least: number,
  gap: number,
  fewest = 2,
): { columns: number; width: number } {
  const columns = Math.max(fewest, Math.floor((width + gap) / (least + gap)));
  return { columns, width: (width - gap * (columns - 1)) / columns };
}
