import { signal } from "@preact/signals";
import type { ComponentType } from "preact";
import { useEffect, useState } from "preact/hooks";
import { t } from "../state";

/** Increases when a page is shown after its script has loaded. */
export const lateArrivals = signal(0);
const loads: (() => Promise<unknown>)[] = [];

/** Loads the scripts of all such views, so that they open at once. */
export function loadAll(): void {
  for (const load of loads) load().catch(() => undefined); // loaded again when the view is opened
}

/** A view with a script of its own, which is loaded when the view is first shown. */
export function later<P extends object>(load: () => Promise<ComponentType<P>>): ComponentType<P> {
  let loaded: ComponentType<P> | undefined;
  const once = (): Promise<ComponentType<P>> => load().then((view) => (loaded = view));
  loads.push(once);
  return (props: P) => {
    const [state, setState] = useState<"loading" | "failed" | "ready">(loaded ? "ready" : "loading");
    useEffect(() => {
      // It may have loaded since this was rendered: then this effect still shows it.
      if (state === "ready") return;
      let shown = true;
      once().then(
        () => {
          if (!shown) return;
          setState("ready");
          lateArrivals.value++;
        },
        () => shown && setState("failed"),
      );
      return () => {
        shown = false;
      };
    }, []);
    const View = loaded;
    if (View) return <View {...props} />;
    if (state === "loading") return <div aria-busy="true" />;
    // The player is away, or it has a new version of the panel.
    return (
      <div class="failure" role="alert">
        <p>
          <strong>{t.failed}</strong>
        </p>
        <button class="button" onClick={() => location.reload()}>
          {t.tryAgain}
        </button>
      </div>
    );
  };
}
