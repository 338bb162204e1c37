import { signal } from "@preact/signals";

/** Notices that are shown for a while. */
export interface Notice {
  id: number;
  title: string;
  message: string;
  kind: "info" | "error";
}

const shownMs = 8_000;
const most = 4;

export class Notices {
  readonly list = signal<Notice[]>([]);
  /** Announcements for screen readers only, such as the new place of a row. */
  readonly said = signal("");
  private lastId = 0;

  add(message: string, title = "", kind: Notice["kind"] = "info"): void {
    if (!message && !title) return;
    // A repeated sentence is not added again.
    const others = this.list.value.filter((n) => n.message !== message || n.title !== title);
    const notice = { id: ++this.lastId, title, message, kind };
    this.list.value = [...others, notice].slice(-most);
    setTimeout(() => this.remove(notice.id), shownMs);
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
}
