import type { Format } from "../api/types";

/** Numbers, days and times as a language writes them. */
export class Formats {
  private readonly percents: Intl.NumberFormat;
  private readonly numbers: Intl.NumberFormat;
  private readonly days: Intl.DateTimeFormat;
  private readonly years: Intl.DateTimeFormat;
  private readonly moments: Intl.DateTimeFormat;
  private readonly times: Intl.DateTimeFormat;
  private readonly spans: Intl.NumberFormat;

  constructor(
    language: string,
    private readonly bits: (n: number) => string,
  ) {
    this.percents = new Intl.NumberFormat(language, { style: "percent" });
    this.numbers = new Intl.NumberFormat(language);
    // A release date is a day, not a moment: it is the same everywhere.
    this.days = new Intl.DateTimeFormat(language, { dateStyle: "long", timeZone: "UTC" });
    this.years = new Intl.DateTimeFormat(language, { year: "numeric", timeZone: "UTC" });
    this.moments = new Intl.DateTimeFormat(language, { dateStyle: "medium", timeStyle: "short" });
    this.spans = new Intl.NumberFormat(language, { style: "unit", unit: "minute", unitDisplay: "short" });
    this.times = new Intl.DateTimeFormat(language, { hour: "numeric", minute: "2-digit" });
  }

  percent(percent: number): string {
    return this.percents.format(percent / 100);
  }
  /** `seconds` since 1970. The first of January means that only the year is known. */
  day(seconds: number): string {
    const date = new Date(seconds * 1000);
    const yearOnly = date.getUTCMonth() === 0 && date.getUTCDate() === 1;
    return (yearOnly ? this.years : this.days).format(date);
  }
  /** The time of day of a moment in milliseconds since the epoch. */
  time(ms: number): string {
    return this.times.format(ms);
  }
  minutes(minutes: number): string {
    return this.spans.format(minutes);
  }
  /** A moment in milliseconds since the epoch, with its day. */
  moment(ms: number): string {
    return this.moments.format(ms);
  }
  /** The format of the current stream: `FLAC 16 bit / 44.1 kHz`. */
  audio(format: Partial<NonNullable<Format>>): string {
    const { codec, bits = 0, rateHz = 0, bitRate = 0 } = format;
    if (!codec) return format.text ?? "";
    const lossless = /^(FLAC|ALAC)$|PCM/.test(codec);
    const parts = [];
    if (lossless && bits > 0) parts.push(this.bits(bits));
    if (lossless && rateHz > 0) parts.push(`${this.numbers.format(rateHz / 1000)} kHz`);
    if (!lossless && bitRate > 0) parts.push(`${this.numbers.format(Math.round(bitRate / 1000))} kbit/s`);
    return `${codec} ${parts.join(" / ")}`.trim();
  }
}
