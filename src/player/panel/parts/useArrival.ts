import { useLayoutEffect } from "preact/hooks";
import { arrival } from "../router";

const ownMoves = ["wheel", "touchstart", "pointerdown", "keydown"] as const;

/** Shows a new page from its top, and restores the position of an earlier one as soon as it is long enough. */
export function useArrival(): void {
  const { number, scroll } = arrival.value;
  useLayoutEffect(() => {
    if (scroll === 0) {
      scrollTo(0, 0);
      return;
    }
    const sized = new ResizeObserver(() => go());
    const end = (): void => {
      sized.disconnect();
      for (const move of ownMoves) removeEventListener(move, end);
    };
    const go = (): void => {
      scrollTo(0, scroll);
      if (Math.abs(scrollY - scroll) <= 1) end();
    };
    sized.observe(document.body);
    // Stops when the listener scrolls.
    for (const move of ownMoves) addEventListener(move, end, { passive: true });
    go();
    return end;
  }, [number]);
}
