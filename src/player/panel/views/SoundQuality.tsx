import { useEffect, useState } from "preact/hooks";
import { qualities, service, type Quality } from "../service";
import { attempt, client, quality, t } from "../state";

/** How each quality is shown. */
export const qualityTexts: Record<Quality, { word: string; detail: string }> = {
  mp3: { word: t.qualityMp3, detail: t.qualityMp3Detail },
  cd: { word: t.qualityCd, detail: t.qualityCdDetail },
  hires96: { word: t.qualityHires96, detail: t.qualityHires96Detail },
  hires192: { word: t.qualityHires192, detail: t.qualityHires192Detail },
};

export function SoundQuality() {
  const [wanted, setWanted] = useState<Quality | undefined>(undefined);
  const chosen = wanted ?? quality.value;
  // The listener's choice is shown until the player reports it or a newer one.
  useEffect(() => setWanted(undefined), [quality.value]);
  const choose = async (choice: Quality): Promise<void> => {
    setWanted(choice);
    if (!(await attempt(client.setValue(service.qualityPath, service.qualityValue(choice)))))
      setWanted(undefined);
  };
  return (
    <fieldset class="card qualities">
      <legend>{t.soundQuality}</legend>
      <p class="hint">{t.soundQualityHint}</p>
      {qualities.map((each) => (
        <label key={each} class="quality">
          <input
            type="radio"
            name="quality"
            value={each}
            checked={each === chosen}
            onChange={() => void choose(each)}
          />
          <span>
            <strong>{qualityTexts[each].word}</strong>
            <span>{qualityTexts[each].detail}</span>
          </span>
        </label>
      ))}
    </fieldset>
  );
}
