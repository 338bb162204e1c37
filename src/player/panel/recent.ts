import { signal } from "@preact/signals";
import type { History } from "./api/types";
import { client } from "./state";

/** Recently played containers and tracks, the latest first; undefined until the player has reported them. */
export const recent = signal<History["items"] | undefined>(undefined);

export async function loadRecent(): Promise<void> {
  // If it fails, the other parts of the page tell what is wrong.
  const history = await client.history().catch(() => undefined);
  recent.value = history?.items ?? recent.value ?? [];
}
