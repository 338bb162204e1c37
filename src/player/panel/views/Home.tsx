import { useEffect } from "preact/hooks";
import { menuOf, rootList } from "../menu";
import { t } from "../state";
import { Failure, FailureArea } from "../parts/Failure";
import { Section } from "./Section";

/** The start page: the first rows of each branch of the menu. */
export function Home() {
  const menu = menuOf();
  useEffect(() => rootList().show(0, 9), [rootList().changed.value]);
  return (
    <>
      <h1 class="unseen" tabIndex={-1}>
        {t.home}
      </h1>
      {menu.fault !== undefined ? (
        <Failure fault={menu.fault} since={menu.since} retry={menu.retry} />
      ) : (
        <FailureArea>
          {menu.rows.map((row) => (
            <Section key={row.path} row={row} />
          ))}
        </FailureArea>
      )}
      {menu.fault === undefined && menu.rows.length === 0 && (
        <p class="empty" role="status">
          {menu.loading ? t.loading : t.empty}
        </p>
      )}
    </>
  );
}
