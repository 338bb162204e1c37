import { useEffect, useRef } from "preact/hooks";
import { keyList, keysShown } from "../keys";
import { t } from "../state";
import { Icon } from "./Icon";

/** The keys that operate the player, opened by "?". */
export function KeyList() {
  const dialog = useRef<HTMLDialogElement>(null);
  useEffect(() => {
    dialog.current?.showModal();
  }, []);
  const close = (): void => void (keysShown.value = false);
  return (
    <dialog
      ref={dialog}
      class="key-list"
      aria-label={t.keys}
      onClose={close}
      onClick={(event) => event.target === dialog.current && close()}
    >
      <div class="key-head">
        <h2>{t.keys}</h2>
        <button class="plain" aria-label={t.dismiss} onClick={close}>
          <Icon name="close" size={20} />
        </button>
      </div>
      <dl>
        {keyList().map(([keys, what]) => (
          <div key={what}>
            <dt>
              {keys.map((key) => (
                <kbd key={key}>{key}</kbd>
              ))}
            </dt>
            <dd>{what}</dd>
          </div>
        ))}
      </dl>
    </dialog>
  );
}
