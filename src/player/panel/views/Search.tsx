import { useEffect, useRef, useState } from "preact/hooks";
import type { Row } from "../api/types";
import { rootList, searchPaths } from "../menu";
import { resultsPath } from "../model/paths";
import { searchUrl } from "../model/routes";
import { replace } from "../router";
import { lists, pageTitle, t } from "../state";
import { Icon } from "../parts/Icon";
import { Failure, FailureArea } from "../parts/Failure";
import { Section } from "./Section";

const pauseMs = 250;

/** Searches while typing, in all search containers of the services. */
export function Search({ text }: { text: string }) {
  const [typed, setTyped] = useState(text);
  const input = useRef<HTMLInputElement>(null);
  useEffect(() => {
    if (!text) input.current?.focus();
  }, []);
  // The browser's back button changes the text from outside.
  useEffect(() => setTyped((now) => (now.trim() === text ? now : text)), [text]);
  useEffect(() => {
    pageTitle.value = text ? `${text} · ${t.search}` : t.search;
    if (typed.trim() === text) return;
    const timer = setTimeout(() => replace(searchUrl(typed.trim())), pauseMs);
    return () => clearTimeout(timer);
  }, [typed, text]);
  return (
    <>
      <h1 class="unseen" tabIndex={-1}>
        {t.search}
      </h1>
      <form
        class="search-box"
        role="search"
        onSubmit={(event) => {
          event.preventDefault();
          replace(searchUrl(typed.trim()));
        }}
      >
        <Icon name="search" />
        <input
          ref={input}
          type="search"
          value={typed}
          placeholder={t.searchHint}
          aria-label={t.search}
          autocomplete="off"
          spellcheck={false}
          enterkeyhint="search"
          dir="auto"
          onInput={(event) => setTyped(event.currentTarget.value)}
        />
        {typed && (
          <button
            type="button"
            class="plain"
            aria-label={t.clearSearch}
            onClick={() => {
              setTyped("");
              input.current?.focus();
            }}
          >
            <Icon name="close" size={20} />
          </button>
        )}
      </form>
      {text ? <Results key={text} text={text} /> : <p class="search-start">{t.searchStart}</p>}
    </>
  );
}

function Results({ text }: { text: string }) {
  const root = rootList();
  useEffect(() => root.show(0, 49), [root, root.changed.value]);
  const paths = searchPaths();
  const entries = paths
    .flatMap((path) => rowsOf(path))
    .filter((row) => row.type === "query" && row.query && row.queryPath);
  const results = entries.map((row) => resultsPath(row.queryPath!, row.query!, text));
  const kinds = results.flatMap((path) => rowsOf(path));
  const asked = useRef<string[]>([]);
  asked.current = [...results, ...kinds.map((row) => row.path ?? "")];
  // Replies to earlier texts are dropped.
  useEffect(() => () => asked.current.forEach((path) => lists.of(path).rest()), []);
  const [counts, setCounts] = useState<Record<string, number>>({});
  const failed = [root, ...[...paths, ...results].map((path) => lists.of(path))].find(
    (list) => list.fault !== undefined,
  );
  if (failed) return <Failure fault={failed.fault} since={failed.faultSince} retry={() => failed.retry(0)} />;
  const nothing = kinds.length > 0 && kinds.every((row) => counts[row.path ?? ""] === 0);
  if (root.count !== undefined && paths.length === 0) return <p class="empty">{t.noSearch}</p>;
  const steps = [{ title: t.labelled(t.search, text), url: searchUrl(text) }];
  return (
    <FailureArea>
      <div class="results">
        {kinds.map((row) => (
          <Section
            key={row.path}
            row={row}
            steps={steps}
            hideEmpty
            onCount={(count) => setCounts((before) => ({ ...before, [row.path ?? ""]: count }))}
          />
        ))}
        <p class="empty" role="status">
          {nothing ? t.noResults(text) : ""}
        </p>
      </div>
    </FailureArea>
  );
}

/** The rows of a short list, as far as they are here; asks for them. */
function rowsOf(path: string): Row[] {
  const list = lists.of(path);
  list.changed.value;
  list.show(0, list.size - 1);
  return Array.from({ length: list.count ?? 0 }, (_, i) => list.at(i)).filter(
    (row): row is Row => row !== undefined,
  );
}
