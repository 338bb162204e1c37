import { notices, t } from "./state";

/** Hands an address of the panel to whatever the device shares with, else to the clipboard. */
export async function share(url: string, title: string): Promise<void> {
  const address = new URL(url, location.href).href;
  if (navigator.share && matchMedia("(hover: none)").matches) {
    // The listener may change their mind.
    await navigator.share({ title, url: address }).catch(() => undefined);
    return;
  }
  if (await copied(address)) notices.add(t.linkCopied);
}

/** Without https there is no clipboard, but a selected text can be copied. */
async function copied(text: string): Promise<boolean> {
  if (navigator.clipboard)
    return navigator.clipboard.writeText(text).then(
      () => true,
      () => false,
    );
  const field = document.createElement("textarea");
  field.value = text;
  document.body.append(field);
  field.select();
  const done = document.execCommand("copy");
  field.remove();
  return done;
}
