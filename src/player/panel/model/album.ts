import type { Row } from "../api/types";

/** The common data of an album's tracks, and how a track differs. */
export interface AlbumFacts {
  artist: string;
  /** Seconds since the epoch; 0 where nothing is known. */
  date: number;
  genre: string;
  /** Set if it is the same for all tracks. */
  composer: string;
  /** Each notice once, in the order of the tracks. */
  copyrights: string[];
  /** What a track's line adds: a performer other than the album's artist, and the composer if tracks differ. */
  differing(row: Row): string;
}

export function albumFacts(rows: Row[]): AlbumFacts {
  const all = (of: (row: Row) => string | undefined): string[] => [
    ...new Set(rows.map((row) => of(row) ?? "")),
  ];
  const first = rows[0]?.metaData;
  const artist = first?.artist ?? "";
  const composers = all((row) => row.metaData?.composer);
  return {
    artist,
    date: first?.date ?? 0,
    genre: first?.genre ?? "",
    composer: composers.length === 1 ? composers[0]! : "",
    copyrights: all((row) => row.metaData?.copyright).filter(Boolean),
    differing: ({ metaData: meta }) =>
      [
        meta?.performer !== artist ? meta?.performer : "",
        composers.length > 1 && meta?.composer !== meta?.performer ? meta?.composer : "",
      ]
        .filter(Boolean)
        .join(" · "),
  };
}
