import { useState } from "preact/hooks";

/** Near the edge of the visible area, a dragged row scrolls the page. */
const edge = 120;
const pullPixels = 14;

/** A row that is dragged: its id, where it was taken, and over which place it is. */
export interface Drag {
  id: number;
  from: number;
  to: number;
}

interface List {
  /** The element whose top is that of the first row. */
  box: () => HTMLElement | null;
  rowHeight: number;
  count: () => number;
  /** A row was let go over another place than its own. */
  drop: (drag: Drag) => void;
}

/** Dragging of rows of one height by a handle, with a pointer of any kind. `take` is for the handle's pointerdown. */
export function useDrag(list: List): {
  drag: Drag | undefined;
  take: (event: PointerEvent, id: number, from: number) => void;
} {
  const [drag, setDrag] = useState<Drag | undefined>(undefined);
  const take = (event: PointerEvent, id: number, from: number): void => {
    if (event.button !== 0) return;
    event.preventDefault();
    const handle = event.currentTarget as HTMLElement;
    handle.setPointerCapture(event.pointerId);
    let y = event.clientY;
    let frame = 0;
    const current: Drag = { id, from, to: from };
    const place = (): void => {
      const top = list.box()?.getBoundingClientRect().top ?? 0;
      const to = Math.max(0, Math.min(list.count() - 1, Math.floor((y - top) / list.rowHeight)));
      if (to === current.to) return;
      current.to = to;
      setDrag({ ...current });
    };
    const pull = (): void => {
      if (y < edge) scrollBy(0, -pullPixels);
      else if (y > innerHeight - edge) scrollBy(0, pullPixels);
      place();
      frame = requestAnimationFrame(pull);
    };
    const end = (dropped: boolean): void => {
      cancelAnimationFrame(frame);
      handle.removeEventListener("pointermove", moving);
      handle.removeEventListener("pointerup", drop);
      handle.removeEventListener("pointercancel", cancel);
      setDrag(undefined);
      if (dropped && current.to !== current.from) list.drop(current);
    };
    const moving = (next: PointerEvent): void => {
      y = next.clientY;
      place();
    };
    const drop = (): void => end(true);
    const cancel = (): void => end(false);
    handle.addEventListener("pointermove", moving);
    handle.addEventListener("pointerup", drop);
    handle.addEventListener("pointercancel", cancel);
    setDrag({ ...current });
    frame = requestAnimationFrame(pull);
  };
  return { drag, take };
}
