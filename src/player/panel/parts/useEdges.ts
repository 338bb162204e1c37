import { useLayoutEffect, useState } from "preact/hooks";

/** The edges of the screen, measured from the top of an element, and the element's width. */
export interface Edges {
  from: number;
  to: number;
  width: number;
}

/** Follows scrolling and changes of size; measures at most once in a frame. */
export function useEdges(element: { current: HTMLElement | null }): Edges {
  const [edges, setEdges] = useState<Edges>({ from: 0, to: innerHeight, width: 0 });
  useLayoutEffect(() => {
    const measure = (): void => {
      const place = element.current?.getBoundingClientRect();
      if (!place) return;
      setEdges((before) => {
        const now = { from: -place.top, to: innerHeight - place.top, width: place.width };
        return before.from === now.from && before.to === now.to && before.width === now.width ? before : now;
      });
    };
    let frame = 0;
    const later = (): void => {
      frame ||= requestAnimationFrame(() => {
        frame = 0;
        measure();
      });
    };
    measure();
    addEventListener("scroll", later, { passive: true });
    addEventListener("resize", later);
    const sized = new ResizeObserver(later);
    if (element.current) sized.observe(element.current);
    return () => {
      cancelAnimationFrame(frame);
      removeEventListener("scroll", later);
      removeEventListener("resize", later);
      sized.disconnect();
    };
  }, []);
  return edges;
}
