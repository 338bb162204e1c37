import { useRef } from "preact/hooks";
import type { Row } from "../api/types";
import { directionOf, type Direction } from "../model/gestures";
import { openMenu, type MenuItem } from "./Menu";

/** So long a finger rests for a long press. */
const longPressMs = 500;
/** A finger that moved this far is no longer pressing. */
const stillPixels = 10;
/** A browser that still sends a click does so within this time. */
const clickFollowsMs = 400;

interface Gestures {
  longPress?: (() => void) | undefined;
  /** Swipes that mean something here. The others are left to the browser's scrolling. */
  swipe?: Partial<Record<Direction, () => void>>;
  /** While a finger moves along an axis that a swipe has: how far, for the element to follow. */
  follow?: (element: HTMLElement, dx: number, dy: number) => void;
}

/** Handlers for swipes and long presses of a finger. Such a press does not count as a click. */
export function useTouch({ longPress, swipe = {}, follow }: Gestures) {
  const at = useRef<{ x: number; y: number; timer: ReturnType<typeof setTimeout> } | undefined>(undefined);
  const used = useRef(false);
  const end = (element: HTMLElement): void => {
    clearTimeout(at.current?.timer);
    at.current = undefined;
    follow?.(element, 0, 0);
  };
  const consume = (event: TouchEvent): void => {
    used.current = true;
    // It is not cancelable once the browser scrolls; no click follows then.
    if (event.cancelable) event.preventDefault();
    setTimeout(() => (used.current = false), clickFollowsMs);
  };
  return {
    onTouchStart(event: TouchEvent): void {
      const touch = event.touches[0];
      used.current = false;
      if (!touch || event.touches.length > 1) return end(event.currentTarget as HTMLElement);
      // An element that is being dragged has no gestures.
      if ((event.target as Element).closest("input, .grip")) return;
      const timer = setTimeout(() => {
        if (!longPress || !at.current) return;
        used.current = true;
        at.current = undefined;
        longPress();
      }, longPressMs);
      at.current = { x: touch.clientX, y: touch.clientY, timer };
    },
    onTouchMove(event: TouchEvent): void {
      const touch = event.touches[0];
      if (!touch || !at.current) return;
      const [dx, dy] = [touch.clientX - at.current.x, touch.clientY - at.current.y];
      if (Math.hypot(dx, dy) > stillPixels) clearTimeout(at.current.timer);
      const direction = directionOf(dx, dy, stillPixels);
      if (direction && swipe[direction]) follow?.(event.currentTarget as HTMLElement, dx, dy);
    },
    onTouchEnd(event: TouchEvent): void {
      const touch = event.changedTouches[0];
      const from = at.current;
      end(event.currentTarget as HTMLElement);
      // Suppress the click, which would press the element that is now under the finger.
      if (used.current) consume(event);
      if (!touch || !from) return;
      const direction = directionOf(touch.clientX - from.x, touch.clientY - from.y);
      const act = direction && swipe[direction];
      if (!act) return;
      consume(event);
      act();
    },
    onTouchCancel(event: TouchEvent): void {
      end(event.currentTarget as HTMLElement);
    },
    onClickCapture(event: MouseEvent): void {
      if (!used.current) return;
      used.current = false;
      event.preventDefault();
      event.stopPropagation();
    },
    onContextMenu(event: MouseEvent): void {
      // A long press opens the panel's own menu, not the browser's.
      if (longPress && (used.current || at.current)) event.preventDefault();
    },
  };
}

/** A finger that rests on a row opens its menu. */
export function useMenuTouch(row: Row, items: () => MenuItem[]) {
  const pressed = useRef<HTMLElement | null>(null);
  const touch = useTouch({
    longPress: () => {
      const offered = items();
      if (pressed.current && offered.length > 0) openMenu(row, offered, pressed.current);
    },
  });
  return {
    ...touch,
    onTouchStart(event: TouchEvent): void {
      pressed.current = event.currentTarget as HTMLElement;
      touch.onTouchStart(event);
    },
  };
}
