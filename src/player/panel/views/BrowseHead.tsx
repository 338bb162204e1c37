import type { ComponentChildren } from "preact";
import type { Row } from "../api/types";
import { albumFacts } from "../model/album";
import { expectedLayout, isItem } from "../model/paths";
import type { Ranges } from "../model/ranges";
import { browseUrl } from "../model/routes";
import { share } from "../share";
import { togglePlaying } from "../operate";
import { attempt, client, formats, isPlayingFrom, known, sounds, t } from "../state";
import { MoreButton, play } from "../parts/Actions";
import { Cover } from "../parts/Cover";
import { Icon } from "../parts/Icon";
import { ArtistName } from "../parts/Names";
import { kindIcon } from "../parts/Tiles";

interface Props {
  path: string;
  title: string;
  list: Ranges<Row>;
  layout: "tracks" | "covers" | "menu";
  kind: string;
}

/** What a list is: its cover, title, what its rows tell of it, and the buttons that play it. */
export function BrowseHead({ path, title, list, layout, kind }: Props) {
  const about = known.get(path);
  const item = isItem(path) && layout !== "menu";
  const first = list.at(0);
  const word = { album: t.album, artist: t.artist, trackList: t.playlist }[kind];
  const tracks = expectedLayout(path) === "tracks";
  const playable = list.count !== 0 && (about?.playable ?? (item && layout === "tracks"));
  const icon = about?.icon ?? (kind === "album" ? first?.icon : undefined);
  const row: Row = {
    title,
    path,
    ...(icon && { icon }),
    ...(kind === "artist" && { containerType: "artist" }),
  };
  return (
    <header class={item ? "head" : "head plain-head"}>
      {item && <Cover src={icon} round={kind === "artist"} icon={kindIcon({ containerType: kind })} />}
      <div class="head-text">
        {item && word && <p class="eyebrow">{word}</p>}
        <h1 tabIndex={-1} dir="auto">
          {title}
        </h1>
        <p class="head-count">
          <Facts list={list} layout={layout} kind={kind} />
        </p>
        {playable ? (
          <PlayActions row={row} path={path} tracks={layout === "tracks"} />
        ) : (
          // The room of the buttons, until it is known whether there are any: rows may come before that.
          !about &&
          (list.count === undefined ? item || tracks : !item && tracks && list.count > 0) && (
            <div class="head-actions waiting" />
          )
        )}
      </div>
    </header>
  );
}

function PlayActions({ row, path, tracks }: { row: Row; path: string; tracks: boolean }) {
  const current = isPlayingFrom(path);
  const pauses = current && sounds.value;
  const shuffled = (): void => {
    void attempt(client.mode({ shuffle: true })).then((set) => (set ? play({ row, path }) : undefined));
  };
  return (
    <div class="head-actions">
      <button class="button primary" onClick={() => void (current ? togglePlaying() : play({ row, path }))}>
        <Icon name={pauses ? "pauseSolid" : "play"} size={20} />
        {pauses ? t.pause : t.play}
      </button>
      {tracks && (
        <button class="button" onClick={shuffled} aria-label={t.shufflePlay}>
          <Icon name="shuffle" size={20} />
          {t.shuffle}
        </button>
      )}
      {isItem(path) && (
        <button
          class="plain"
          aria-label={t.share}
          onClick={() => void share(browseUrl(path, row.title), row.title ?? "")}
        >
          <Icon name="share" size={20} />
        </button>
      )}
      <MoreButton what={{ row, path }} />
    </div>
  );
}

/** Who an album is by, its date, genre and composer, and how many rows there are. */
function Facts({ list, layout, kind }: Pick<Props, "list" | "layout" | "kind">) {
  const { count } = list;
  const first = list.at(0);
  const facts: ComponentChildren[] = [];
  if (kind === "album") {
    const { artist, date, genre, composer } = albumFacts(heldRows(list));
    if (artist) facts.push(<ArtistName name={artist} />);
    if (date) facts.push(formats.day(date));
    if (genre) facts.push(<bdi>{genre}</bdi>);
    if (composer) facts.push(<bdi>{t.labelled(t.composer, composer)}</bdi>);
  }
  if (count !== undefined && layout === "tracks") facts.push(t.tracks(count));
  if (count !== undefined && layout === "covers") facts.push(countOf(first, count));
  return (
    <>
      {facts.map((fact, i) => (
        <span key={i}>
          {i > 0 && " · "}
          {fact}
        </span>
      ))}
    </>
  );
}

/** The rows of a list that are here, from its first on. */
export function heldRows(list: Ranges<Row>): Row[] {
  return Array.from({ length: Math.min(list.count ?? 0, list.size) }, (_, i) => list.at(i)).filter(
    (row): row is Row => row !== undefined,
  );
}

/** How many there are, in the word for what they are. */
function countOf(first: Row | undefined, count: number): string {
  switch (first?.containerType) {
    case "album":
      return t.albums(count);
    case "artist":
      return t.artists(count);
    case "trackList":
      return t.playlists(count);
    default:
      return t.entries(count);
  }
}
