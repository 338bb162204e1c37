import { createContext, type ComponentChildren } from "preact";
import { useContext, useEffect, useState } from "preact/hooks";
import { explain, formats, t } from "../state";

interface Trouble {
  fault: unknown;
  since?: number | undefined;
  retry: () => void;
}
interface Area {
  report: (key: string, trouble: Trouble | undefined) => void;
}

const AreaOfPage = createContext<Area | undefined>(undefined);

/** Replaces rows that could not be loaded: what failed and since when, the service's message, and a button to retry. */
export function Failure({ fault, since, retry }: Trouble) {
  const { sentence, detail, code } = explain(fault);
  const small = [detail, code > 0 && t.errorCode(code)].filter(Boolean).join(" · ");
  return (
    <div class="failure" role="alert">
      <p>
        <strong>{since ? t.sinceTime(sentence, formats.time(since)) : sentence}</strong>
        {small && <small>{small}</small>}
      </p>
      <button class="button" onClick={retry}>
        {t.tryAgain}
      </button>
    </div>
  );
}

/** A page whose parts load separately: one message and one button to retry, however many parts fail. */
export function FailureArea({ children }: { children: ComponentChildren }) {
  const [troubles, setTroubles] = useState<ReadonlyMap<string, Trouble>>(new Map());
  const [area] = useState<Area>(() => ({
    report: (key, trouble) =>
      setTroubles((before) => {
        if (!trouble && !before.has(key)) return before;
        const now = new Map(before);
        if (trouble) now.set(key, trouble);
        else now.delete(key);
        return now;
      }),
  }));
  const all = [...troubles.values()];
  const earliest = Math.min(...all.map(({ since }) => since ?? Infinity));
  return (
    <AreaOfPage.Provider value={area}>
      {all[0] && (
        <Failure
          fault={all[0].fault}
          since={Number.isFinite(earliest) ? earliest : undefined}
          retry={() => all.forEach(({ retry }) => retry())}
        />
      )}
      {children}
    </AreaOfPage.Provider>
  );
}

/** A failed part of a page: reports to the page, and shows only that it is empty. */
export function PartFailure({ path, fault, since, retry }: Trouble & { path: string }) {
  const area = useContext(AreaOfPage);
  useEffect(() => area?.report(path, { fault, since, retry }), [area, path, fault, since]);
  useEffect(() => () => area?.report(path, undefined), [area, path]);
  return area ? <p class="empty">{t.failed}</p> : <Failure fault={fault} since={since} retry={retry} />;
}
