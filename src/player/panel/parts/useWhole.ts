import { useEffect, useState } from "preact/hooks";
import type { Numbered } from "../model/order";
import { client } from "../state";

const pageRows = 100;
/** Requests at a time: the player has other things to do. */
const lanes = 3;

type Whole =
  | { state: "none" }
  | { state: "loading" }
  | { state: "ready"; rows: Numbered[] }
  | { state: "failed"; fault: unknown };

/** All rows of a list, loaded once they are wanted. */
export function useWhole(path: string, count: number, wanted: boolean): [Whole, retry: () => void] {
  const [whole, setWhole] = useState<Whole>({ state: "none" });
  const [attempt, setAttempt] = useState(0);
  useEffect(() => {
    if (!wanted) return;
    const abort = new AbortController();
    setWhole({ state: "loading" });
    load(path, count, abort.signal).then(
      (rows) => setWhole({ state: "ready", rows }),
      (fault: unknown) => {
        if (!abort.signal.aborted) setWhole({ state: "failed", fault });
      },
    );
    return () => abort.abort();
  }, [path, count, wanted, attempt]);
  return [wanted ? whole : { state: "none" }, () => setAttempt((n) => n + 1)];
}

async function load(path: string, count: number, signal: AbortSignal): Promise<Numbered[]> {
  const rows: Numbered[] = [];
  let next = 0;
  const lane = async (): Promise<void> => {
    while (next < count) {
      const from = next;
      next += pageRows;
      const page = await client.rows(path, from, Math.min(count, from + pageRows) - 1, signal);
      page.rows.forEach((row, i) => (rows[from + i] = { row, index: from + i }));
    }
  };
  await Promise.all(Array.from({ length: lanes }, lane));
  return rows.filter(Boolean);
}
