/** The panel's pictograms: 24 units wide, drawn in the colour of the text. */
const shapes = {
  home: "M4 11.5 12 5l8 6.5M6 10v9h4.5v-5h3v5H18v-9",
  search: "M10.5 17a6.5 6.5 0 1 0 0-13 6.5 6.5 0 0 0 0 13ZM15.5 15.5 20 20",
  queue: "M11 6h9M4 12h16M4 18h16M4 3.4v5.2L8 6Z",
  list: "M4 6h16M4 12h16M4 18h10",
  person: "M12 12a4 4 0 1 0 0-8 4 4 0 0 0 0 8ZM4.5 20c.6-3.6 3.6-5.5 7.5-5.5s6.9 1.9 7.5 5.5",
  pause: "M8 5v14M16 5v14",
  shuffle:
    "M4 7h3c5 0 5 10 10 10h3M4 17h3c1.8 0 3-1.3 3.9-2.9M13.2 9.8C14.2 8.2 15.3 7 17 7h3M17.5 4.5 20 7l-2.5 2.5M17.5 14.5 20 17l-2.5 2.5",
  repeat:
    "M6 17H5a2 2 0 0 1-2-2V9a2 2 0 0 1 2-2h13M15.5 4 18.5 7l-3 3M18 7h1a2 2 0 0 1 2 2v6a2 2 0 0 1-2 2H6M8.5 14l-3 3 3 3",
  volume: "M4 10v4h3.5L12 18V6l-4.5 4H4ZM15.5 9a4 4 0 0 1 0 6M18 6.5a7.8 7.8 0 0 1 0 11",
  muted: "M4 10v4h3.5L12 18V6l-4.5 4H4ZM16 9.5l5 5M21 9.5l-5 5",
  more: "M5.5 12h.01M12 12h.01M18.5 12h.01",
  close: "M6 6l12 12M18 6 6 18",
  down: "M5 9l7 7 7-7",
  up: "M5 15l7-7 7 7",
  lower: "M12 5v13M6.5 12.5 12 18l5.5-5.5",
  right: "M9 5l7 7-7 7",
  left: "M15 5l-7 7 7 7",
  grip: "M5 9h14M5 15h14",
  plus: "M12 5v14M5 12h14",
  next: "M4 7h16M4 12h8M4 17h8M16 12.5v6l5-3-5-3Z",
  trash: "M5 7h14M10 7V4.5h4V7M7 7l1 13h8l1-13",
  note: "M9 18V6l10-2v12M9 18a2.5 2.5 0 1 1-5 0 2.5 2.5 0 0 1 5 0ZM19 16a2.5 2.5 0 1 1-5 0 2.5 2.5 0 0 1 5 0Z",
  disc: "M12 21a9 9 0 1 0 0-18 9 9 0 0 0 0 18ZM12 14a2 2 0 1 0 0-4 2 2 0 0 0 0 4Z",
  compass: "M12 21a9 9 0 1 0 0-18 9 9 0 0 0 0 18ZM15.5 8.5l-2 5-5 2 2-5 5-2Z",
  heart: "M12 20s-7.5-4.6-7.5-10A4.2 4.2 0 0 1 12 7.3 4.2 4.2 0 0 1 19.5 10c0 5.4-7.5 10-7.5 10Z",
  share: "M12 15V4M8 7.5 12 3.5l4 4M6 11.5v8.5h12v-8.5",
  moon: "M19.5 14.5A8 8 0 0 1 9.5 4.5a8 8 0 1 0 10 10Z",
  check: "M5 12.5l4.5 4.5L19 7",
  eye: "M2.5 12S6 5.5 12 5.5 21.5 12 21.5 12 18 18.5 12 18.5 2.5 12 2.5 12ZM12 15a3 3 0 1 0 0-6 3 3 0 0 0 0 6Z",
} as const;

const filled = {
  play: "M8 5.2v13.6a.8.8 0 0 0 1.2.7l11-6.8a.8.8 0 0 0 0-1.4l-11-6.8a.8.8 0 0 0-1.2.7Z",
  skipNext: "M5 6v12a.7.7 0 0 0 1.1.6L15 12.7V18.5h2.5v-13H15v5.8L6.1 5.4A.7.7 0 0 0 5 6Z",
  skipPrevious: "M19 6v12a.7.7 0 0 1-1.1.6L9 12.7V18.5H6.5v-13H9v5.8l8.9-5.9A.7.7 0 0 1 19 6Z",
  pauseSolid: "M7 5h3.5v14H7zM13.5 5H17v14h-3.5z",
} as const;

export type IconName = keyof typeof shapes | keyof typeof filled;

export function Icon({ name, size = 24 }: { name: IconName; size?: number }) {
  const solid = name in filled;
  return (
    <svg class="icon" viewBox="0 0 24 24" width={size} height={size} aria-hidden="true" focusable="false">
      {solid ? (
        <path d={filled[name as keyof typeof filled]} fill="currentColor" />
      ) : (
        <path
          d={shapes[name as keyof typeof shapes]}
          fill="none"
          stroke="currentColor"
          stroke-width={name === "more" ? 2.6 : 1.7}
          stroke-linecap="round"
          stroke-linejoin="round"
        />
      )}
    </svg>
  );
}
