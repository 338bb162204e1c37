import { useEffect } from "preact/hooks";
import { menuOf, rootList } from "../menu";
import { sentence, t } from "../state";
import { Failure } from "../parts/Notice";
import { Section } from "./Section";

/** The start page: what each branch of the menu begins with. */
export function Home() {
  const menu = menuOf();
  useEffect(() => rootList().show(0, 9), [rootList().changed.value]);
  return (
    <>
      <h1 class="unseen" tabIndex={-1}>
        {t.home}
      </h1>
      {menu.fault !== undefined ? (
        <Failure message={sentence(menu.fault)} retry={menu.retry} />
      ) : (
        menu.rows.map((row) => <Section key={row.path} row={row} />)
      )}
      {menu.fault === undefined && menu.rows.length === 0 && (
        <p class="empty" role="status">
          {menu.loading ? t.loading : t.empty}
        </p>
      )}
    </>
  );
}
