import { de } from "./de";
import { en, type Texts } from "./en";
import { fr } from "./fr";

export type { Texts };
export const catalogues = { en, de, fr } satisfies Record<string, Texts>;
export type Language = keyof typeof catalogues;

/** The first of the browser's languages that there are texts in, else English. */
export function languageOf(wanted: readonly string[]): Language {
  for (const tag of wanted) {
    const language = tag.toLowerCase().split("-")[0] ?? "";
    if (Object.hasOwn(catalogues, language)) return language as Language;
  }
  return "en";
}
