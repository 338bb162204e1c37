import type { Row } from "../api/types";
import { albumUrl, artistUrl, byline } from "../state";

/** The people and the album of a track, each a link to where it leads. */
export function ArtistName({ name }: { name: string }) {
  return (
    <a class="name-link" href={artistUrl(name)} dir="auto">
      {name}
    </a>
  );
}

export function ByName({ row }: { row: Row }) {
  const name = byline(row);
  return name ? <ArtistName name={name} /> : null;
}

export function AlbumName({ row }: { row: Row }) {
  const url = albumUrl(row);
  return url ? (
    <a class="name-link" href={url} dir="auto">
      {row.metaData?.album}
    </a>
  ) : null;
}
