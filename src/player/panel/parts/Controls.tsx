import { useRef } from "preact/hooks";
import { changeRepeat, skip, toggleMuted, togglePlaying, toggleShuffle } from "../operate";
import { attempt, client, formats, sounds, status, t } from "../state";
import { Icon } from "./Icon";
import { Slider } from "./Slider";

export function PlayButton({ size = 24, class: name = "" }: { size?: number; class?: string }) {
  const state = status.value?.state ?? "stopped";
  return (
    <button
      class={`play-button ${name}`}
      aria-label={sounds.value ? t.pause : t.play}
      aria-busy={state === "opening" || (status.value?.stalled ?? false)}
      disabled={!status.value || (state === "stopped" && status.value.queue.count === 0)}
      onClick={() => void togglePlaying()}
    >
      <Icon name={sounds.value ? "pauseSolid" : "play"} size={size} />
    </button>
  );
}

export function SkipButton({ to, size = 24 }: { to: "next" | "previous"; size?: number }) {
  return (
    <button
      class="plain"
      aria-label={to === "next" ? t.next : t.previous}
      disabled={!status.value?.queue.count}
      onClick={() => skip(to)}
    >
      <Icon name={to === "next" ? "skipNext" : "skipPrevious"} size={size} />
    </button>
  );
}

export function ShuffleButton() {
  const on = status.value?.shuffle ?? false;
  return (
    <button
      class="plain mode"
      aria-label={t.shuffle}
      aria-pressed={on}
      disabled={!status.value}
      onClick={toggleShuffle}
    >
      <Icon name="shuffle" size={22} />
    </button>
  );
}

export function RepeatButton() {
  const repeat = status.value?.repeat ?? "off";
  const words = { off: t.repeatOff, one: t.repeatOne, all: t.repeatAll };
  return (
    <button
      class="plain mode"
      aria-label={words[repeat]}
      aria-pressed={repeat !== "off"}
      disabled={!status.value}
      onClick={changeRepeat}
    >
      <Icon name="repeat" size={22} />
      {repeat === "one" && <span class="one">1</span>}
    </button>
  );
}

/** The most changes of the volume that are sent while the slider moves. */
const betweenMs = 120;

export function Volume() {
  const sentAt = useRef(0);
  const percent = status.value?.volumePercent ?? 0;
  const limit = status.value?.volumeLimitPercent ?? 100;
  const muted = status.value?.muted ?? false;
  const set = (value: number): void => void attempt(client.volume({ percent: value, muted: false }));
  return (
    <div class="volume" title={limit < 100 ? t.labelled(t.volumeLimit, formats.percent(limit)) : undefined}>
      <button
        class="plain"
        aria-label={muted ? t.unmute : t.mute}
        disabled={!status.value}
        onClick={toggleMuted}
      >
        <Icon name={muted || percent === 0 ? "muted" : "volume"} size={22} />
      </button>
      <Slider
        label={t.volume}
        value={muted ? 0 : percent}
        max={limit}
        text={formats.percent(percent)}
        disabled={!status.value}
        moving={(value) => {
          if (performance.now() - sentAt.current < betweenMs) return;
          sentAt.current = performance.now();
          set(value);
        }}
        done={set}
      />
    </div>
  );
}

/** The current format, with a note if it is below the setting. */
export function FormatBadge() {
  const format = status.value?.state === "stopped" ? null : status.value?.format;
  if (!format?.text) return null;
  return (
    <span
      class={format.lowerThanAsked ? "format lower" : "format"}
      title={format.lowerThanAsked ? t.labelled(formats.audio(format), t.lowerThanAsked) : undefined}
    >
      <span class="format-text">{formats.audio(format)}</span>
      {format.lowerThanAsked && (
        <>
          <span class="format-word"> · {t.lowerThanAsked}</span>
          <span class="format-mark" aria-hidden="true">
            <Icon name="lower" size={14} />
          </span>
        </>
      )}
    </span>
  );
}
