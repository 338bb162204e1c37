import { signal } from "@preact/signals";
import type { Row } from "../api/types";
import { isAlbum, isItem } from "./paths";
import { Remembered } from "./known";

const most = 3_000;

/** Paths of albums and artists, collected from the rows seen so far: a row itself does not contain them. */
export class Origins {
  /** Increases when something new is known. */
  readonly changed = signal(0);
  private readonly paths: Remembered<string>;

  constructor(storage: Pick<Storage, "getItem" | "setItem"> | undefined) {
    this.paths = new Remembered<string>(storage, "pelk.origins", most);
  }

  /** Notes the rows of a container. `kind` is that of the container where it is known. */
  note(path: string, rows: Row[], kind: string | undefined): void {
    const album = isItem(path) && (kind === "album" || (kind === undefined && isAlbum(rows)));
    let news = false;
    const add = (name: string, to: string): void => {
      news ||= this.paths.get(name) !== to;
      this.paths.add(name, to);
    };
    for (const row of rows) {
      if (album && row.type === "audio" && row.path) add(`track ${row.path}`, path);
      if (row.containerType === "artist" && row.title && row.path) add(`artist ${row.title}`, row.path);
    }
    if (news) this.changed.value++;
  }
  /** The album that a track is on. */
  albumOf(track: Row): string | undefined {
    this.changed.value;
    return track.path === undefined ? undefined : this.paths.get(`track ${track.path}`);
  }
  artistNamed(name: string): string | undefined {
    this.changed.value;
    return this.paths.get(`artist ${name}`);
  }
}
