import { de } from "./de";
import { en, type Texts } from "./en";
import { fr } from "./fr";

export type { Texts };
export const catalogues = { en, de, fr } satisfies Record<string, Texts>;
export type Language = keyof typeof catalogues;

/** The first of the browser's languages that there are texts in, as it names it: `de-AT`. Else English. */
export function localeOf(wanted: readonly string[]): string {
  return wanted.find((tag) => Object.hasOwn(catalogues, baseOf(tag))) ?? "en";
}

export function languageOf(wanted: readonly string[]): Language {
  return baseOf(localeOf(wanted)) as Language;
}

function baseOf(tag: string): string {
  return tag.toLowerCase().split("-")[0] ?? "";
}
