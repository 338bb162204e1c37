/** A button or link that shows a pictogram alone says what it does when the pointer rests on it, in the words that screen readers get. */
export function startTooltips(): void {
  document.addEventListener("pointerover", (event) => {
    const named = (event.target as Element | null)?.closest?.<HTMLElement>(
      "button[aria-label], a[aria-label]",
    );
    const label = named?.getAttribute("aria-label");
    if (named && label && !named.textContent?.trim()) named.title = label;
  });
}
