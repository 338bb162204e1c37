/** Shows the accessible name of a button or link with only an icon while the pointer rests on it. */
export function startTooltips(): void {
  document.addEventListener("pointerover", (event) => {
    const named = (event.target as Element | null)?.closest?.<HTMLElement>(
      "button[aria-label], a[aria-label]",
    );
    const label = named?.getAttribute("aria-label");
    if (named && label && !named.textContent?.trim()) named.title = label;
  });
}
