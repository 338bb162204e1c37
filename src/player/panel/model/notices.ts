import { signal } from "@preact/signals";

/** Notices that are shown for a while. */
export interface Notice {
  id: number;
  title: string;
  message: string;
  kind: "info" | "error";
  action?: Action;
}
/** A button in a notice. Pressing it also removes the notice. */
export interface Action {
  text: string;
  act: () => unknown;
}

const shownMs = 8_000;
/** A notice with a button stays longer, so that there is time to reach it. */
const shownWithActionMs = 20_000;
const most = 4;

export class Notices {
  readonly list = signal<Notice[]>([]);
  /** Announcements for screen readers only, such as the new place of a row. */
  readonly said = signal("");
  private lastId = 0;

  add(message: string, title = "", kind: Notice["kind"] = "info"): void {
    this.show({ title, message, kind });
  }
  /** Replaces the last such offer: only the last change can be undone. */
  offer(message: string, action: Action): void {
    this.withdraw();
    this.show({ title: "", message, kind: "info", action });
  }
  /** Removes the offer, which no longer applies. */
  withdraw(): void {
    this.list.value = this.list.value.filter(({ action }) => !action);
  }
  error(message: string): void {
    this.add(message, "", "error");
  }
  remove(id: number): void {
    this.list.value = this.list.value.filter((n) => n.id !== id);
  }
  say(text: string): void {
    this.said.value = text;
  }

  private show(what: Omit<Notice, "id">): void {
    const { title, message, action } = what;
    if (!message && !title) return;
    // A repeated sentence is not added again.
    const others = this.list.value.filter((n) => n.message !== message || n.title !== title);
    const notice = { id: ++this.lastId, ...what };
    this.list.value = [...others, notice].slice(-most);
    setTimeout(() => this.remove(notice.id), action ? shownWithActionMs : shownMs);
  }
}
