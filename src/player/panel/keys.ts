import { signal } from "@preact/signals";
import {
  changeRepeat,
  changeVolume,
  seekBy,
  skip,
  toggleMuted,
  togglePlaying,
  toggleShuffle,
} from "./operate";
import { navigate, route } from "./router";
import { t } from "./state";

const seekSeconds = 10;
const volumeStep = 5;

/** Whether the list of the keys is open. */
export const keysShown = signal(false);

/** Each key, or its name if it has no letter, and its action. */
const actions: Record<string, () => void> = {
  " ": () => void togglePlaying(),
  k: () => void togglePlaying(),
  j: () => seekBy(-seekSeconds),
  l: () => seekBy(seekSeconds),
  ArrowLeft: () => seekBy(-seekSeconds),
  ArrowRight: () => seekBy(seekSeconds),
  ArrowUp: () => changeVolume(volumeStep),
  ArrowDown: () => changeVolume(-volumeStep),
  m: toggleMuted,
  s: toggleShuffle,
  r: changeRepeat,
  n: () => skip("next"),
  p: () => skip("previous"),
  q: () => navigate("/queue"),
  "/": openSearch,
  "?": () => (keysShown.value = true),
};

/** The keys as the list shows them. */
export const keyList = (): [keys: string[], what: string][] => [
  [[t.spaceKey, "K"], `${t.play} / ${t.pause}`],
  [["←", "J"], t.back10],
  [["→", "L"], t.forward10],
  [["⇧ ↑", "⇧ ↓"], t.volume],
  [["M"], t.mute],
  [["N"], t.next],
  [["P"], t.previous],
  [["S"], t.shuffle],
  [["R"], t.repeat],
  [["Q"], t.queue],
  [["/"], t.search],
  [["?"], t.keys],
];

function openSearch(): void {
  if (route.value.view !== "search") navigate("/search");
  // A new page is drawn before the next frame.
  requestAnimationFrame(() => document.querySelector<HTMLInputElement>("input[type=search]")?.select());
}

/** Whether an element handles the key itself: text fields, sliders and buttons. */
function ownsKey(element: Element | null, key: string): boolean {
  if (!element) return false;
  if (element.closest("dialog")) return true;
  if (element.matches("input:not([type=range]):not([type=radio]), textarea, select, [contenteditable]"))
    return true;
  if (key.startsWith("Arrow")) return element.matches("input, .grip, [role=menuitem], .shelf");
  return key === " " && element.matches("button, input, summary");
}

/** The arrow keys scroll the page, so the volume needs Shift, except where nothing scrolls. */
function isVolumeKey(event: KeyboardEvent): boolean {
  const vertical = event.key === "ArrowUp" || event.key === "ArrowDown";
  const scrolls = document.documentElement.scrollHeight > innerHeight + 1;
  return vertical && (event.shiftKey || !scrolls);
}

export function startKeys(): void {
  document.addEventListener("keydown", (event) => {
    if (event.defaultPrevented || event.ctrlKey || event.metaKey || event.altKey || event.isComposing) return;
    const key = event.key.length === 1 ? event.key.toLowerCase() : event.key;
    const action = Object.hasOwn(actions, key) ? actions[key] : undefined;
    if (!action || ownsKey(document.activeElement, key)) return;
    const vertical = key === "ArrowUp" || key === "ArrowDown";
    if (vertical ? !isVolumeKey(event) : event.shiftKey && key.startsWith("Arrow")) return;
    // A held key repeats seeking and volume changes; everything else happens once.
    if (event.repeat && !key.startsWith("Arrow") && key !== "j" && key !== "l") return;
    event.preventDefault();
    action();
  });
}
