import { signal } from "@preact/signals";
import { useEffect, useState } from "preact/hooks";
import { clock } from "../model/time";
import { positionMs } from "../model/player";
import { seekTo } from "../operate";
import { player, status, t } from "../state";
import { Slider } from "./Slider";

const drawnEachMs = 250;

/** Behind the slider: the time that is left, else the duration of the track. A press changes it. */
const showsRemaining = signal(false);

/** The position now, counted on while the component is shown. */
export function usePosition(): number {
  const [now, setNow] = useState(performance.now());
  const runs = status.value?.state === "playing" && !status.value.stalled;
  useEffect(() => {
    if (!runs) return;
    const timer = setInterval(() => setNow(performance.now()), drawnEachMs);
    return () => clearInterval(timer);
  }, [runs]);
  return positionMs(player.value, Math.max(now, player.value.at));
}

/** The position in the track; can be dragged if the track can seek. */
export function Progress() {
  const at = usePosition();
  const duration = status.value?.durationMs ?? 0;
  const [held, setHeld] = useState<number | undefined>(undefined);
  const shown = held ?? at;
  const none = !status.value || status.value.state === "stopped";
  return (
    <div class="progress">
      <span class="time">{none ? "–:––" : clock(shown)}</span>
      <Slider
        label={t.position}
        value={none ? 0 : Math.round(at / 1000)}
        max={Math.round(duration / 1000)}
        text={t.positionOf(clock(shown), clock(duration))}
        disabled={none || !status.value?.canSeek || duration <= 0}
        moving={(seconds) => setHeld(seconds * 1000)}
        done={(seconds) => {
          setHeld(undefined);
          seekTo(seconds * 1000);
        }}
      />
      <button
        class="time"
        aria-label={t.labelled(
          showsRemaining.value ? t.remaining : t.duration,
          clock(showsRemaining.value ? duration - shown : duration),
        )}
        disabled={none || duration <= 0}
        onClick={() => (showsRemaining.value = !showsRemaining.value)}
      >
        {none || duration <= 0
          ? "–:––"
          : showsRemaining.value
            ? `−${clock(duration - shown)}`
            : clock(duration)}
      </button>
    </div>
  );
}

/** A line without a handle, for the small bar of a phone. */
export function ProgressLine() {
  const at = usePosition();
  const duration = status.value?.durationMs ?? 0;
  return (
    <div
      class="progress-line"
      aria-hidden="true"
      ref={(line) => line?.style.setProperty("--share", `${duration > 0 ? (100 * at) / duration : 0}%`)}
    />
  );
}
