import type { Row } from "../api/types";
import { togglePlaying } from "../operate";
import { navigate } from "../router";
import { add, albumUrl, artistUrl, byline, currentPath, isPlayingFrom, sounds, t, titleOf } from "../state";
import { MenuButton, type MenuItem } from "./Menu";

/** Something to add to the queue: a container or one of its rows. */
export interface Playable {
  row: Row;
  /** The container to take rows from. */
  path: string;
  /** The row's place in it; without it the whole container is meant. */
  index?: number;
}

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

/** The menu item "Play", or "Pause" for what is playing. */
export function playItem(current: boolean, start: () => unknown): MenuItem {
  if (!current) return { icon: "play", text: t.play, act: start };
  return sounds.value
    ? { icon: "pauseSolid", text: t.pause, act: togglePlaying }
    : { icon: "play", text: t.play, act: togglePlaying };
}

/** The menu items that open a row's album and artist. */
export function placeItems(row: Row): MenuItem[] {
  const album = row.type === "audio" ? albumUrl(row) : undefined;
  const by = row.containerType === "artist" ? "" : byline(row);
  return [
    ...(album ? [{ icon: "disc", text: t.goToAlbum, act: () => navigate(album) } as const] : []),
    ...(by ? [{ icon: "person", text: t.goToArtist, act: () => navigate(artistUrl(by)) } as const] : []),
  ];
}

/** The menu of a row or of a whole list. */
export function rowItems(what: Playable): MenuItem[] {
  const { row } = what;
  const current = row.type === "audio" ? row.path === currentPath.value : isPlayingFrom(what.path);
  return [
    playItem(current, () => play(what)),
    { icon: "next", text: t.playNext, act: () => enqueue(what, "next") },
    { icon: "plus", text: t.addToQueue, act: () => enqueue(what, "end") },
    ...placeItems(row),
  ];
}

export function MoreButton({ what }: { what: Playable }) {
  return <MenuButton row={what.row} items={() => rowItems(what)} />;
}
