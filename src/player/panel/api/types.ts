/**
 * What the player's interface answers, by the names that the page uses. openapi.ts is written from the interface's own
 * document (scripts/panel_types), so that page and player cannot drift apart.
 */
import type { components, paths } from "./openapi";

type Schemas = components["schemas"];

export type Access = Schemas["Access"];
export type Session = Schemas["Sessions"]["sessions"][number];
export type MetaData = Schemas["MetaData"];
/** The page creates some rows itself, with fewer fields. */
export type Row = Partial<Schemas["Row"]>;
export type RowsAnswer = Schemas["Rows"];
export type Format = Schemas["Format"];
export type Repeat = Schemas["Repeat"];
export type QueueState = Schemas["QueueState"];
export type PlayerStatus = Schemas["PlayerStatus"];
export type QueueAnswer = Schemas["Queue"];
export type QueueEntry = QueueAnswer["entries"][number];
export type Addition = paths["/api/player/queue/add"]["post"]["requestBody"]["content"]["application/json"];
export type History = paths["/api/history"]["get"]["responses"][200]["content"]["application/json"];
export type Where = Addition["where"];
/** A tagged value of the content model. */
export type Value = Partial<Schemas["Value"]> & Record<string, unknown>;
export type ValueEvent = Omit<Schemas["ValueEvent"], "value"> & { value: Value | null };
export type Notification = Schemas["Notification"];
