/**
 * The one place that knows a service by name: where its account form writes to, where it says how far the login is, and the
 * sound qualities. Everything else of the panel comes from the content model.
 */
import type { Value } from "./api/types";

const accountPath = "account:qobuz";
const loginStatePath = "account:qobuz/loginState";
const qualityPath = "settings:qobuz/soundQuality";

const accountType = 138;
const qualityType = 141;
const operations = { login: 1, remove: 2 } as const;

export type LoginState = "unknown" | "loggedIn" | "inProgress" | "loggedOut" | "failed";
const loginStates: LoginState[] = ["loggedIn", "inProgress", "loggedOut", "failed"];

/** The four sound qualities, poorest first. */
export const qualities = ["mp3", "cd", "hires96", "hires192"] as const;
export type Quality = (typeof qualities)[number];

/** The player's own settings: values of the content model, each a text. */
export const playerSettings = {
  volumeLimitPath: "settings:player/volumeLimit",
  namePath: "settings:player/name",
  volumeLimitValue: (percent: number): Value => ({ type: 1, string: String(percent) }),
  text(value: unknown): string {
    const text = value && typeof value === "object" ? (value as Value)["string"] : undefined;
    return typeof text === "string" ? text : "";
  },
};

export const service = {
  name: "Qobuz",
  accountPath,
  qualityPath,
  /** The listener's own playlists. */
  playlistsPath: "qobuz:playlists",
  /** The values that the panel follows on the event stream. */
  values: [loginStatePath, qualityPath],

  loginValue: (username: string, password: string): Value => ({
    type: accountType,
    qobuzAccount: { operation: operations.login, username, password },
  }),
  logoutValue: (): Value => ({ type: accountType, qobuzAccount: { operation: operations.remove } }),
  qualityValue: (quality: Quality): Value => ({
    type: qualityType,
    qobuzSoundQuality: qualities.indexOf(quality),
  }),

  /** The name of the account, from the data of its path. */
  userName(value: unknown): string {
    const session = value && typeof value === "object" ? (value as Value)["qobuzUserSession"] : undefined;
    const name = session && typeof session === "object" ? (session as { userName?: unknown }).userName : "";
    return typeof name === "string" ? name : "";
  },

  loginState(values: Record<string, Value | null>): LoginState {
    const record = values[loginStatePath]?.["qobuzLoginState"];
    const state = record && typeof record === "object" ? (record as { state?: unknown }).state : undefined;
    return (typeof state === "number" ? loginStates[state] : undefined) ?? "unknown";
  },
  quality(values: Record<string, Value | null>): Quality | undefined {
    const number = values[qualityPath]?.["qobuzSoundQuality"];
    return typeof number === "number" ? qualities[number] : undefined;
  },
};
