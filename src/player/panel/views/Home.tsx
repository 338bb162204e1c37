import { useEffect } from "preact/hooks";
import { menuOf, rootList } from "../menu";
import { loadRecent, recent } from "../recent";
import { status, t } from "../state";
import { Failure, FailureArea } from "../parts/Failure";
import { Icon } from "../parts/Icon";
import { Shelf } from "../parts/Shelf";
import { Section, Waiting } from "./Section";

const recentShown = 12;

/** The start page: the first rows of each branch of the menu. */
export function Home() {
  const menu = menuOf();
  useEffect(() => rootList().show(0, 9), [rootList().changed.value]);
  useEffect(() => void loadRecent(), [status.value?.entry]);
  return (
    <>
      <h1 class="unseen" tabIndex={-1}>
        {t.home}
      </h1>
      {menu.fault !== undefined ? (
        <Failure fault={menu.fault} since={menu.since} retry={menu.retry} />
      ) : (
        <FailureArea>
          {menu.rows.length > 0 && <RecentShelf />}
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

/** The containers that were played last. Until they are known, nothing below is shown that they would move. */
function RecentShelf() {
  const rows = recent.value?.map(({ row }) => row).filter((row) => row.type === "container");
  if (rows?.length === 0) return null;
  return (
    <section class="section">
      <div class="section-head">
        <h2>
          <a href="/recent">
            {t.recent}
            <Icon name="right" size={18} />
          </a>
        </h2>
      </div>
      {rows ? (
        <Shelf rows={rows.slice(0, recentShown)} path="recent" label={t.recent} />
      ) : (
        <Waiting layout="covers" />
      )}
    </section>
  );
}
