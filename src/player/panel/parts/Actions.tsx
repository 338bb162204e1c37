import { signal } from "@preact/signals";
import { useEffect, useRef } from "preact/hooks";
import { togglePlaying } from "../operate";
import { add, albumUrl, artistUrl, byline, currentPath, sounds, t, titleOf } from "../state";
import { navigate } from "../router";
import type { Row } from "../api/types";
import { Cover } from "./Cover";
import { Icon, type IconName } from "./Icon";

/** What can be put into the queue: a container, or one row of it. */
export interface Playable {
  row: Row;
  /** The container to take rows from. */
  path: string;
  /** The row's place in it; without it the whole container is meant. */
  index?: number;
}

const open = signal<{ what: Playable; from: HTMLElement } | undefined>(undefined);

export function play(what: Playable, startAt?: number): Promise<void> {
  const range = what.index === undefined ? {} : { from: what.index, to: what.index };
  return add(
    { path: what.path, ...range, ...(startAt !== undefined && { startAt }) },
    "replace",
    titleOf(what.row),
  );
}

function enqueue(what: Playable, where: "next" | "end"): Promise<void> {
  const range = what.index === undefined ? {} : { from: what.index, to: what.index };
  return add({ path: what.path, ...range }, where, titleOf(what.row));
}

export function MoreButton({ what, tabIndex }: { what: Playable; tabIndex?: number }) {
  return (
    <button
      class="plain more"
      aria-label={t.actionsFor(titleOf(what.row))}
      aria-haspopup="menu"
      tabIndex={tabIndex}
      onClick={(event) => {
        event.preventDefault();
        event.stopPropagation();
        open.value = { what, from: event.currentTarget };
      }}
    >
      <Icon name="more" size={20} />
    </button>
  );
}

/** The arrow keys go through a menu, round and round. */
function walkMenu(event: KeyboardEvent): void {
  const items = [...(event.currentTarget as HTMLElement).querySelectorAll<HTMLElement>("[role=menuitem]")];
  const at = items.indexOf(document.activeElement as HTMLElement);
  const last = items.length - 1;
  const to = {
    ArrowDown: at === last ? 0 : at + 1,
    ArrowUp: at <= 0 ? last : at - 1,
    Home: 0,
    End: last,
  }[event.key];
  if (to === undefined) return;
  event.preventDefault();
  event.stopPropagation();
  items[to]?.focus();
}

/** The sheet with what can be done with a row: beside its button, or at the bottom of a phone. */
export function ActionSheet() {
  const shown = open.value;
  const dialog = useRef<HTMLDialogElement>(null);
  const menu = useRef<HTMLDivElement>(null);
  useEffect(() => {
    const sheet = dialog.current;
    if (!shown || !sheet) return;
    sheet.showModal();
    menu.current?.querySelector("button")?.focus();
    const button = shown.from.getBoundingClientRect();
    const { offsetWidth: width, offsetHeight: height } = sheet;
    if (matchMedia("(min-width: 700px)").matches) {
      const fits = button.left + width + 12 <= innerWidth;
      sheet.style.left = `${fits ? button.left : Math.max(12, button.right - width)}px`;
      sheet.style.top = `${button.bottom + height + 12 > innerHeight ? Math.max(12, button.top - height - 6) : button.bottom + 6}px`;
    }
  }, [shown]);
  if (!shown) return null;
  const { what } = shown;
  const close = (): void => {
    open.value = undefined;
    if (shown.from.isConnected) shown.from.focus();
  };
  const track = what.row.type === "audio";
  const current = track && what.row.path === currentPath.value;
  const album = albumUrl(what.row);
  const by = byline(what.row);
  const isArtist = what.row.containerType === "artist";
  const item = (icon: IconName, text: string, act: () => unknown) => (
    <button
      class="sheet-item"
      role="menuitem"
      tabIndex={-1}
      onClick={() => {
        close();
        act();
      }}
    >
      <Icon name={icon} size={20} />
      {text}
    </button>
  );
  return (
    <dialog
      ref={dialog}
      class="sheet"
      aria-label={t.actionsFor(titleOf(what.row))}
      onClose={close}
      onClick={(event) => event.target === dialog.current && close()}
    >
      <div class="sheet-head">
        <Cover src={what.row.icon} />
        <strong>{titleOf(what.row)}</strong>
      </div>
      <div role="menu" aria-label={t.actionsFor(titleOf(what.row))} ref={menu} onKeyDown={walkMenu}>
        {current
          ? item(sounds.value ? "pauseSolid" : "play", sounds.value ? t.pause : t.play, togglePlaying)
          : item("play", t.play, () => play(what))}
        {item("next", t.playNext, () => enqueue(what, "next"))}
        {item("plus", t.addToQueue, () => enqueue(what, "end"))}
        {track && album && item("disc", t.goToAlbum, () => navigate(album))}
        {by && !isArtist && item("person", t.goToArtist, () => navigate(artistUrl(by)))}
      </div>
    </dialog>
  );
}
