import { useEffect, useState } from "preact/hooks";

/** Whether the page has at least this many pixels beside each other. */
export function useWide(pixels: number): boolean {
  const query = `(min-width: ${pixels}px)`;
  const [wide, setWide] = useState(() => matchMedia(query).matches);
  useEffect(() => {
    const media = matchMedia(query);
    const change = (): void => setWide(media.matches);
    media.addEventListener("change", change);
    return () => media.removeEventListener("change", change);
  }, [query]);
  return wide;
}
