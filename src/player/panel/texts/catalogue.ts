import { en, type Texts } from "./en";

export type { Texts };

/** English comes with the page; another language is a file of its own, so that nobody loads those of the others. */
const loaders = {
  en: () => Promise.resolve(en),
  de: () => import("./de").then(({ de }) => de),
  fr: () => import("./fr").then(({ fr }) => fr),
} satisfies Record<string, () => Promise<Texts>>;
export type Language = keyof typeof loaders;

/** The texts in a language, in English where its file cannot be had. */
export function textsIn(language: Language): Promise<Texts> {
  return loaders[language]().catch(() => en);
}

/** The first of the browser's languages that there are texts in, as it names it: `de-AT`. Else English. */
export function localeOf(wanted: readonly string[]): string {
  return wanted.find((tag) => Object.hasOwn(loaders, baseOf(tag))) ?? "en";
}

export function languageOf(wanted: readonly string[]): Language {
  return baseOf(localeOf(wanted)) as Language;
}

function baseOf(tag: string): string {
  return tag.toLowerCase().split("-")[0] ?? "";
}
