import { Slider } from "../parts/Slider";
import { playerSettings } from "../service";
import { attempt, client, formats, status, t } from "../state";

/** The lowest limit that is offered: at 0 the player would seem broken. */
const lowestPercent = 5;

/** The loudest that the volume goes, on every device that controls the player. */
export function VolumeLimit() {
  const percent = status.value?.volumeLimitPercent;
  const set = (value: number): void => {
    const limit = Math.max(lowestPercent, value);
    void attempt(client.setValue(playerSettings.volumeLimitPath, playerSettings.volumeLimitValue(limit)));
  };
  return (
    <section class="card" aria-labelledby="volume-limit">
      <h2 id="volume-limit">{t.volumeLimit}</h2>
      <p class="hint">{t.volumeLimitHint}</p>
      <div class="limit">
        <Slider
          label={t.volumeLimit}
          value={percent ?? 100}
          max={100}
          step={5}
          text={formats.percent(percent ?? 100)}
          disabled={percent === undefined}
          done={set}
        />
        <output>{percent === undefined ? "" : formats.percent(percent)}</output>
      </div>
    </section>
  );
}
