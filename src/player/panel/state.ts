import { computed, signal } from "@preact/signals";
import { Client, Problem } from "./api/client";
import { listen } from "./api/events";
import type { Addition, QueueEntry, Row, Value, Where } from "./api/types";
import { Formats } from "./model/format";
import { KnownPaths } from "./model/known";
import { Lists } from "./model/lists";
import { Notices } from "./model/notices";
import { noPlayer, reduce, type PlayerEvent } from "./model/player";
import { Origins } from "./model/origins";
import { Ranges } from "./model/ranges";
import { browseUrl, searchUrl } from "./model/routes";
import { service, type LoginState } from "./service";
import { languageOf, localeOf, textsIn } from "./texts/catalogue";

/** Shared by all views: the player's live state, the lists, and the notices. */

export const language = languageOf(navigator.languages);
export const t = await textsIn(language);
export const formats = new Formats(localeOf(navigator.languages), t.bits);
export const client = new Client(language);
export const notices = new Notices();
export const known = new KnownPaths(storage(), language);
export const origins = new Origins(storage());

export const player = signal(noPlayer);
export const values = signal<Record<string, Value | null>>({});
export const connection = signal<"connecting" | "live" | "lost">("connecting");

export const status = computed(() => player.value.status);
export const loginState = computed<LoginState>(() => service.loginState(values.value));
export const quality = computed(() => service.quality(values.value));
export const needsLogin = computed(() => ["loggedOut", "failed", "inProgress"].includes(loginState.value));
/** The path of the track that plays or is paused. */
export const currentPath = computed(() =>
  status.value && status.value.state !== "stopped" ? status.value.row?.path : undefined,
);

/** The title of the current page, shown in the browser's tab while nothing is playing. */
export const pageTitle = signal("");
export const sounds = computed(() => ["playing", "opening"].includes(status.value?.state ?? ""));
/** The container that the current entry was taken from, and the entry that this belongs to. */
const source = signal<{ entry: number | null; path: string }>({ entry: null, path: "" });

/** Asks for the container of a new current entry. */
async function learnSource(entry: number | null, place: number | null): Promise<void> {
  if (entry === source.peek().entry) return;
  source.value = { entry: place === null ? null : entry, path: "" };
  if (entry === null || place === null) return;
  const found = await client.queue(place, place).catch(() => undefined);
  const path = found?.entries.find(({ id }) => id === entry)?.source ?? "";
  // The queue may have changed in between: then the next status asks again.
  if (source.peek().entry === entry) source.value = path ? { entry, path } : { entry: null, path: "" };
}

/** The path of the container that the playing or paused track was taken from. */
export const playingFrom = computed(() => (currentPath.value === undefined ? "" : source.value.path));

/** Whether the playing or paused track was taken from this container. */
export function isPlayingFrom(path: string): boolean {
  return path !== "" && playingFrom.value === path;
}

/** Increases when another user logs in or out. */
export const listener = signal(0);

export const lists = new Lists<Row>((path) => async (from, to, abort) => {
  const answer = await client.rows(path, from, to, abort);
  for (const row of answer.rows) remember(row);
  origins.note(path, answer.rows, answer.from === 0 ? known.get(path)?.kind : (known.get(path)?.kind ?? ""));
  return { from: answer.from, count: answer.count, items: answer.rows };
});

const queuePage = 100;
export const queue = new Ranges<QueueEntry>(async (from, to, abort) => {
  const answer = await client.queue(from, to, abort);
  return { from, count: answer.count, items: answer.entries };
}, queuePage);

export function hear(event: PlayerEvent): void {
  const before = status.value;
  player.value = reduce(player.value, event);
  const now = status.value;
  if (now?.queue.revision !== before?.queue.revision) queue.stale();
  if (event.kind === "player") {
    void learnSource(event.status.entry, event.status.place);
    // Another change of the queue ended what could be undone.
    if (event.status.undo === 0 && before && before.undo > 0) notices.withdraw();
  }
}

/** Follows the player until the function that it returns is called. */
export function follow(onLost: () => void): () => void {
  let lastLogin: LoginState = "unknown";
  return listen(client.eventsUrl(service.values), {
    player: (said) => hear({ kind: "player", status: said, at: performance.now() }),
    queue: (said) => hear({ kind: "queue", queue: said }),
    value: ({ path, value }) => {
      values.value = { ...values.value, [path]: value };
      const now = loginState.value;
      if (now === lastLogin) return;
      // Another user has other favourites. Requests from the start of the page are already this user's.
      if (lastLogin !== "unknown" && (now === "loggedIn" || now === "loggedOut")) {
        lists.forget();
        listener.value++;
      }
      lastLogin = now;
    },
    notification: (notice) => notices.add(notice.message ?? "", notice.title ?? ""),
    connected: () => {
      if (connection.value === "lost") {
        notices.say(t.regained);
        // The player may be a new one.
        player.value = noPlayer;
        source.value = { entry: null, path: "" };
        lists.stale();
        queue.stale();
      }
      connection.value = "live";
    },
    lost: () => {
      onLost();
      connection.value = "lost";
    },
  });
}

/** A fault in the panel's own words, with what the service or the player says to it, and its code. */
export function explain(fault: unknown): { sentence: string; detail: string; code: number } {
  if (!(fault instanceof Problem) || fault.away) return { sentence: t.playerAway, detail: "", code: 0 };
  const { message: detail, code, status: httpStatus } = fault;
  if (httpStatus === 502) return { sentence: t.serviceFails(service.name), detail, code };
  if (httpStatus === 504)
    return { sentence: t.serviceSilent(service.name), detail, code: code || httpStatus };
  return { sentence: detail || t.failed, detail: "", code: code || httpStatus };
}

/** The sentence for a fault, where there is room for one. */
export function sentence(fault: unknown): string {
  if (fault instanceof Problem) return fault.away ? t.playerAway : fault.message;
  return t.playerAway;
}

/** Runs an operation of the player, and tells when it fails. */
export async function attempt(operation: Promise<unknown>): Promise<boolean> {
  try {
    await operation;
    return true;
  } catch (fault) {
    notices.error(sentence(fault));
    return false;
  }
}

/** Tells that entries were removed from the queue, with a button that restores them. */
export function offerUndo(message: string): void {
  notices.offer(message, { text: t.undo, act: () => void attempt(client.undo()) });
}

/** Puts rows into the queue, and says so where nothing else shows it. */
export async function add(what: Omit<Addition, "where">, where: Where, title: string): Promise<void> {
  const replaces = (status.value?.queue.count ?? 0) > 0;
  if (!(await attempt(client.add({ ...what, where })))) return;
  if (where === "replace" && replaces) offerUndo(t.replaced);
  if (where === "next") notices.add(t.addedNext(title));
  if (where === "end") notices.add(t.added(title));
}

export function titleOf(row: Row | null | undefined): string {
  return row?.title || t.untitled;
}

/** Whether a row can go into the queue: a track, or a container as a whole. */
export function canPlay(row: Row): boolean {
  return row.type === "container" ? row.containerPlayable === true : row.playable === true;
}

/** Who a row is by: the performer of a track, else the artist. */
export function byline(row: Row | null | undefined): string {
  return row?.metaData?.performer || row?.metaData?.artist || "";
}

/** Where a name leads: to the artist where a row of them was seen, else to a search. */
export function artistUrl(name: string): string {
  const path = origins.artistNamed(name);
  return path ? browseUrl(path, name) : searchUrl(name);
}
export function albumUrl(track: Row): string | undefined {
  const name = track.metaData?.album;
  const path = origins.albumOf(track);
  return path ? browseUrl(path, name) : name ? searchUrl(name) : undefined;
}

/** Gets and remembers the title and cover of a path; returns an empty text if unknown. */
export async function learn(path: string): Promise<string> {
  const data = await client.data(path, ["title", "icon", "containerType", "containerPlayable"]);
  const row = { ...data, type: "container", path } as Row;
  if (row.title) remember(row);
  return row.title ?? "";
}

/** Keeps what a container's row says of it, for the pages that it leads to. */
function remember(row: Row): void {
  if (row.type !== "container" || !row.path) return;
  known.add(row.path, {
    title: titleOf(row),
    ...(row.icon && { icon: row.icon }),
    ...(row.containerType && { kind: row.containerType }),
    playable: canPlay(row),
  });
}

function storage(): Storage | undefined {
  try {
    return window.sessionStorage;
  } catch {
    return undefined; // forbidden by the browser's settings
  }
}
