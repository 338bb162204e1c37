export type Direction = "left" | "right" | "up" | "down";

/** A finger that moved so far along one axis has swiped. */
const swipePixels = 64;

/** Which way a finger went, once it went far enough and clearly along one axis. */
export function directionOf(dx: number, dy: number, least = swipePixels): Direction | undefined {
  const [across, along] = [Math.abs(dx), Math.abs(dy)];
  if (Math.max(across, along) < least || Math.max(across, along) < 1.5 * Math.min(across, along))
    return undefined;
  return across > along ? (dx < 0 ? "left" : "right") : dy < 0 ? "up" : "down";
}
