import { useRef, useState } from "preact/hooks";

interface Props {
  label: string;
  value: number;
  max: number;
  step?: number;
  text: string;
  disabled?: boolean;
  class?: string;
  /** While it is moved. */
  moving?: (value: number) => void;
  /** Where it was let go. */
  done: (value: number) => void;
}

/** The browser's own slider, which follows the finger while new values are received. */
export function Slider({
  label,
  value,
  max,
  step = 1,
  text,
  disabled,
  class: name = "",
  moving,
  done,
}: Props) {
  const [held, setHeld] = useState<number | undefined>(undefined);
  const timer = useRef<ReturnType<typeof setTimeout>>();
  const shown = Math.min(held ?? value, max);
  const release = (): void => {
    clearTimeout(timer.current);
    // The new value is shown until the player has had time to confirm it.
    timer.current = setTimeout(() => setHeld(undefined), 600);
  };
  return (
    <input
      type="range"
      class={`slider ${name}`}
      aria-label={label}
      aria-valuetext={text}
      min={0}
      max={max || 1}
      step={step}
      value={shown}
      disabled={disabled}
      ref={(input) => input?.style.setProperty("--share", `${max > 0 ? (100 * shown) / max : 0}%`)}
      onInput={(event) => {
        clearTimeout(timer.current);
        const at = Number(event.currentTarget.value);
        setHeld(at);
        moving?.(at);
      }}
      onChange={(event) => {
        done(Number(event.currentTarget.value));
        release();
      }}
    />
  );
}
