/** The player's version; the build defines it. */
declare const __VERSION__: string;
