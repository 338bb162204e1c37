import { useEffect, useState } from "preact/hooks";
import { sleepText } from "../model/sleep";
import { attempt, client, formats, player, status, t } from "../state";
import { Icon } from "./Icon";
import { openMenu, type MenuItem } from "./Menu";

const choicesMinutes = [15, 30, 45, 60, 90];
const tickMs = 5_000;

function items(): MenuItem[] {
  const set = (wish: { minutes: number } | { at: "off" | "track" | "queue" }) => () =>
    attempt(client.sleep(wish));
  return [
    ...(status.value?.sleep ? [{ icon: "close", text: t.sleepOff, act: set({ at: "off" }) } as const] : []),
    ...choicesMinutes.map(
      (minutes) =>
        ({ icon: "moon", text: t.sleepIn(formats.minutes(minutes)), act: set({ minutes }) }) as const,
    ),
    { icon: "note", text: t.sleepTrack, act: set({ at: "track" }) },
    { icon: "queue", text: t.sleepQueue, act: set({ at: "queue" }) },
  ];
}

/** When the player pauses by itself: the remaining time, and a menu to change it. */
export function SleepTimer() {
  const [now, setNow] = useState(() => performance.now());
  const sleep = status.value?.sleep ?? null;
  useEffect(() => {
    setNow(performance.now());
    if (sleep?.at !== "time") return;
    const timer = setInterval(() => setNow(performance.now()), tickMs);
    return () => clearInterval(timer);
  }, [sleep, player.value.at]);
  const words = { track: t.sleepTrack, queue: t.sleepQueue, minutes: (n: number) => formats.minutes(n) };
  const text = sleepText(sleep, Math.max(0, now - player.value.at), words);
  return (
    <button
      class={sleep ? "plain sleep on" : "plain sleep"}
      aria-label={sleep ? t.labelled(t.sleepTimer, text) : t.sleepTimer}
      aria-haspopup="menu"
      disabled={!status.value}
      onClick={(event) => openMenu({ title: t.sleepTimer }, items(), event.currentTarget, "moon")}
    >
      <Icon name="moon" size={22} />
      {sleep?.at === "time" && <span class="sleep-left">{text}</span>}
    </button>
  );
}
