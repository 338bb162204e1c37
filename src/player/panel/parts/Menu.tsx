import { signal } from "@preact/signals";
import { useEffect, useRef } from "preact/hooks";
import type { Row } from "../api/types";
import { t, titleOf } from "../state";
import { Cover } from "./Cover";
import { Icon, type IconName } from "./Icon";

export interface MenuItem {
  icon: IconName;
  text: string;
  act: () => unknown;
}

interface OpenMenu {
  row: Row;
  items: MenuItem[];
  from: HTMLElement;
  /** In place of a row's cover. */
  icon: IconName | undefined;
}
const open = signal<OpenMenu | undefined>(undefined);

/** Opens the menu of a row, or of something else that has a title, beside the element that was pressed. */
export function openMenu(row: Row, items: MenuItem[], from: HTMLElement, icon?: IconName): void {
  open.value = { row, items, from, icon };
}

/** The button that opens a row's menu. */
export function MenuButton({ row, items }: { row: Row; items: () => MenuItem[] }) {
  return (
    <button
      class="plain more"
      aria-label={t.actionsFor(titleOf(row))}
      aria-haspopup="menu"
      onClick={(event) => {
        event.preventDefault();
        event.stopPropagation();
        openMenu(row, items(), event.currentTarget);
      }}
    >
      <Icon name="more" size={20} />
    </button>
  );
}

/** The arrow keys go through a menu, round and round. */
function walk(event: KeyboardEvent): void {
  const items = [...(event.currentTarget as HTMLElement).querySelectorAll<HTMLElement>("[role=menuitem]")];
  const at = items.indexOf(document.activeElement as HTMLElement);
  const last = items.length - 1;
  const to = {
    ArrowDown: at === last ? 0 : at + 1,
    ArrowUp: at <= 0 ? last : at - 1,
    Home: 0,
    End: last,
  }[event.key];
  if (to === undefined) return;
  event.preventDefault();
  items[to]?.focus();
}

/** Beside the element, where it fits. */
function place(sheet: HTMLElement, from: HTMLElement): void {
  const button = from.getBoundingClientRect();
  const { offsetWidth: width, offsetHeight: height } = sheet;
  const fits = button.left + width + 12 <= innerWidth;
  sheet.style.left = `${fits ? button.left : Math.max(12, button.right - width)}px`;
  sheet.style.top = `${button.bottom + height + 12 > innerHeight ? Math.max(12, button.top - height - 6) : button.bottom + 6}px`;
}

/** The menu that is open: beside its button, or at the bottom of a phone. */
export function Menu() {
  const shown = open.value;
  const dialog = useRef<HTMLDialogElement>(null);
  useEffect(() => {
    const sheet = dialog.current;
    if (!shown || !sheet) return;
    sheet.showModal();
    sheet.querySelector<HTMLElement>("[role=menuitem]")?.focus({ preventScroll: true });
    if (matchMedia("(min-width: 700px)").matches) place(sheet, shown.from);
  }, [shown]);
  if (!shown) return null;
  const { row, items, from, icon } = shown;
  const label = icon ? titleOf(row) : t.actionsFor(titleOf(row));
  const close = (): void => {
    open.value = undefined;
    if (from.isConnected) from.focus({ preventScroll: true });
  };
  return (
    <dialog
      ref={dialog}
      class="sheet"
      aria-label={label}
      onClose={close}
      onClick={(event) => event.target === dialog.current && close()}
    >
      <div class="sheet-head">
        {icon ? <Icon name={icon} /> : <Cover src={row.icon} />}
        <strong>{titleOf(row)}</strong>
      </div>
      <div role="menu" aria-label={label} onKeyDown={walk}>
        {items.map(({ icon: picture, text, act }) => (
          <button
            key={text}
            class="sheet-item"
            role="menuitem"
            tabIndex={-1}
            onClick={() => {
              close();
              act();
            }}
          >
            <Icon name={picture} size={20} />
            {text}
          </button>
        ))}
      </div>
    </dialog>
  );
}
