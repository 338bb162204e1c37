import { useEffect, useRef, useState } from "preact/hooks";
import type { SortField } from "../model/order";
import { t } from "../state";
import { Icon } from "./Icon";

interface Props {
  title: string;
  /** The list is too long to be filtered and sorted. */
  tooLong: boolean;
  filter: string;
  onFilter: (text: string) => void;
  sort: SortField | "";
  fields: SortField[];
  onSort: (field: SortField | "") => void;
}

/** The header of a long list, which stays in view: its title, a filter, the order, and the way back to the top. */
export function ListTools({ title, tooLong, filter, onFilter, sort, fields, onSort }: Props) {
  const mark = useRef<HTMLDivElement>(null);
  const [stuck, setStuck] = useState(false);
  useEffect(() => {
    const seen = new IntersectionObserver(([entry]) =>
      setStuck(!!entry && !entry.isIntersecting && entry.boundingClientRect.top < 0),
    );
    seen.observe(mark.current!);
    return () => seen.disconnect();
  }, []);
  const words = { title: t.sortTitle, artist: t.artist, album: t.album, date: t.sortDate };
  return (
    <>
      <div ref={mark} class="tools-mark" />
      <div class={stuck ? "tools stuck" : "tools"}>
        {tooLong ? (
          <p class="hint">{t.tooLongToSort}</p>
        ) : (
          <>
            <label class="tools-filter">
              <Icon name="search" size={18} />
              <input
                type="search"
                value={filter}
                placeholder={t.filter}
                aria-label={t.filter}
                autocomplete="off"
                spellcheck={false}
                dir="auto"
                onInput={(event) => onFilter(event.currentTarget.value)}
              />
            </label>
            {fields.length > 0 && (
              <select
                class="tools-sort"
                aria-label={t.sortBy}
                value={sort}
                onChange={(event) => onSort(event.currentTarget.value as SortField | "")}
              >
                <option value="">{t.sortDefault}</option>
                {fields.map((field) => (
                  <option key={field} value={field}>
                    {words[field]}
                  </option>
                ))}
              </select>
            )}
          </>
        )}
        {stuck && (
          <>
            <strong class="tools-title" dir="auto">
              {title}
            </strong>
            <button class="plain" aria-label={t.toTop} onClick={() => scrollTo({ top: 0 })}>
              <Icon name="up" size={20} />
            </button>
          </>
        )}
      </div>
    </>
  );
}

/** The letters of a sorted list beside it: a press goes to the first row of a letter. */
export function LetterRail({ letters, go }: { letters: [string, number][]; go: (place: number) => void }) {
  return (
    <nav class="letters" aria-label={t.letters}>
      {letters.map(([letter, place]) => (
        <button key={letter} onClick={() => go(place)}>
          {letter}
        </button>
      ))}
    </nav>
  );
}
