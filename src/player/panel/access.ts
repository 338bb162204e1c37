import { computed, signal } from "@preact/signals";
import type { Access } from "./api/types";
import { client } from "./state";

/** This browser's rights; undefined until the player has reported them. */
export const access = signal<Access | undefined>(undefined);
/** The player wants its password first. */
export const locked = computed(() => access.value?.level === "none");

/** Asks the player. One that cannot be reached is reported by whatever else asks it. */
export async function checkAccess(): Promise<void> {
  try {
    access.value = await client.access();
  } catch {
    // The stream of events says that the player is away, and asks again here.
  }
}
