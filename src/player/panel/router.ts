import { signal } from "@preact/signals";
import { parseRoute, type Route } from "./model/routes";

/** A step of the breadcrumbs. Its title is empty as long as it is not known. */
export interface Step {
  title: string;
  url: string;
}
interface Kept {
  scroll?: number;
  trail?: Step[];
  /** How parts of the page were left. */
  parts?: Record<string, string | number>;
}

const kept = (): Kept => (history.state as Kept | null) ?? {};

export const route = signal<Route>(parseRoute(location));
/** How the listener reached the current page. */
export const trail = signal<Step[] | undefined>(kept().trail);
/** Increases with each page shown; a page returned to also has the position at which it was left. */
export const arrival = signal({ number: 0, scroll: kept().scroll ?? 0 });

function keepScroll(): void {
  history.replaceState({ ...kept(), scroll: scrollY }, "");
}

/** Remembers the state of a part of the page, to restore it when the listener returns. */
export function keepPart(name: string, value: string | number): void {
  history.replaceState({ ...kept(), parts: { ...kept().parts, [name]: value } }, "");
}
export function keptPart(name: string): string | number | undefined {
  return kept().parts?.[name];
}

function arrive(scroll: number): void {
  trail.value = kept().trail;
  route.value = parseRoute(location);
  arrival.value = { number: arrival.value.number + 1, scroll };
}

export function navigate(url: string, steps?: Step[]): void {
  keepScroll();
  history.pushState(steps ? { trail: steps } : {}, "", url);
  arrive(0);
}

/** The same page at another address, such as a continued search. */
export function replace(url: string): void {
  history.replaceState(kept(), "", url);
  route.value = parseRoute(location);
}

/** Back to where the listener came from, or to the start page if that was elsewhere. */
export function back(): void {
  if (arrival.value.number > 0) history.back();
  else navigate("/");
}

export function startRouter(): void {
  history.scrollRestoration = "manual";
  addEventListener("popstate", () => arrive(kept().scroll ?? 0));
  addEventListener("pagehide", keepScroll);
  // The browser forgets where a page was left once another one is shown, so it is noted when scrolling rests.
  let timer: ReturnType<typeof setTimeout> | undefined;
  addEventListener(
    "scroll",
    () => {
      clearTimeout(timer);
      timer = setTimeout(keepScroll, 150);
    },
    { passive: true },
  );
  document.addEventListener("click", (event) => {
    const link = (event.target as Element | null)?.closest?.("a[href]");
    if (!(link instanceof HTMLAnchorElement) || event.defaultPrevented || event.button !== 0) return;
    if (event.metaKey || event.ctrlKey || event.shiftKey || event.altKey) return;
    if (link.origin !== location.origin || link.target || link.hash) return;
    event.preventDefault();
    navigate(link.pathname + link.search, stepsOf(link));
  });
}

const steps = new WeakMap<HTMLAnchorElement, Step[]>();
const stepsOf = (link: HTMLAnchorElement): Step[] | undefined => steps.get(link);
/** Says which breadcrumbs the page behind a link has. */
export function setSteps(link: HTMLAnchorElement | null, trailBehind: Step[] | undefined): void {
  if (!link) return;
  if (trailBehind) steps.set(link, trailBehind);
  else steps.delete(link);
}
