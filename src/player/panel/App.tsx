import type { ComponentChildren } from "preact";
import { useEffect, useRef } from "preact/hooks";
import { locked } from "./access";
import { keysShown } from "./keys";
import { menuOf } from "./menu";
import { browseUrl } from "./model/routes";
import { arrival, route } from "./router";
import { service } from "./service";
import {
  byline,
  listener,
  lists,
  loginState,
  needsLogin,
  pageTitle,
  sounds,
  status,
  t,
  titleOf,
} from "./state";

import { Icon, type IconName } from "./parts/Icon";
import { Link } from "./parts/Link";
import { Menu } from "./parts/Menu";
import { later, lateArrivals } from "./parts/later";
import { ConnectionLine, NoticeArea } from "./parts/Notice";
import { PlayerBar } from "./parts/PlayerBar";
import { urlOf } from "./parts/Tiles";
import { useArrival } from "./parts/useArrival";
import { useWide } from "./parts/useWide";
import { Home } from "./views/Home";
import { Search } from "./views/Search";

// The first page is small: it contains only what listeners see first.
const About = later(() => import("./views/About").then((views) => views.About));
const Account = later(() => import("./views/Account").then((views) => views.Account));
const Browse = later(() => import("./views/Browse").then((views) => views.Browse));
const KeyList = later(() => import("./parts/KeyList").then((views) => views.KeyList));
const NowPlaying = later(() => import("./views/NowPlaying").then((views) => views.NowPlaying));
const PlayerLogin = later(() => import("./views/PlayerLogin").then((views) => views.PlayerLogin));
const Queue = later(() => import("./views/Queue").then((views) => views.Queue));
const Recent = later(() => import("./views/Recent").then((views) => views.Recent));
const Welcome = later(() => import("./views/Welcome").then((views) => views.Welcome));

export function App() {
  const main = useRef<HTMLElement>(null);
  const place = route.value;
  const { number } = arrival.value;
  useArrival();
  useEffect(() => {
    // Focus the heading, so that screen readers announce the new page; an empty search takes the focus itself.
    if (number > 0 && !(place.view === "search" && place.text === ""))
      main.current?.querySelector<HTMLElement>("h1")?.focus({ preventScroll: true });
  }, [number, lateArrivals.value]);
  useEffect(() => {
    const names = {
      home: "",
      account: t.account,
      about: t.about,
      recent: t.recent,
      queue: t.queue,
      missing: "",
    };
    if (place.view in names) pageTitle.value = names[place.view as keyof typeof names];
  }, [place]);
  const heard = sounds.value ? status.value?.row : null;
  const name = heard ? [titleOf(heard), byline(heard)].filter(Boolean).join(" · ") : pageTitle.value;
  useEffect(() => {
    document.title = name ? `${name} · Pelk` : "Pelk";
  }, [name]);

  const playing = place.view === "playing";
  if (locked.value) return <PlayerLogin />;
  return (
    <div class={playing ? "frame bare" : "frame"}>
      <div class="skips">
        <a class="skip" href="#player" onClick={(event) => focusOn(event, ".play-button:enabled", "#player")}>
          {t.skipToPlayer}
        </a>
        <a class="skip" href="#main" onClick={(event) => focusOn(event, "#main")}>
          {t.skip}
        </a>
      </div>
      {!playing && <SideBar />}
      <main id="main" ref={main} tabIndex={-1}>
        <ConnectionLine />
        <div class="page" key={`${listener.value}`}>
          <View />
        </div>
      </main>
      {!playing && (
        <footer class="foot">
          <PlayerBar />
          <TabBar />
        </footer>
      )}
      <NoticeArea />
      <Menu />
      {keysShown.value && <KeyList />}
    </div>
  );
}

/** Moves the focus to the first visible element that matches one of the selectors; an earlier selector comes first. */
function focusOn(event: Event, ...selectors: string[]): void {
  event.preventDefault();
  const all = selectors.flatMap((selector) => [...document.querySelectorAll<HTMLElement>(selector)]);
  all.find((each) => each.checkVisibility())?.focus();
}

function View() {
  const place = route.value;
  switch (place.view) {
    case "playing":
      return <NowPlaying />;
    case "queue":
      return <Queue />;
    case "account":
      return <Account />;
    case "about":
      return <About />;
    case "missing":
      return (
        <div class="nothing">
          <h1 tabIndex={-1}>{t.notFound}</h1>
          <a class="button" href="/">
            {t.goHome}
          </a>
        </div>
      );
  }
  if (needsLogin.value) return <Welcome />;
  if (place.view === "home") return <Home />;
  if (place.view === "recent") return <Recent />;
  if (place.view === "search") return <Search text={place.text} />;
  return <Browse key={place.path} path={place.path} title={place.title} />;
}

/** Navigation of a wide screen, with the branches of the menu. */
function SideBar() {
  const wide = useWide(900);
  return (
    <nav class="side" aria-label={t.menu}>
      <a class="mark" href="/" aria-label={`Pelk, ${t.home}`}>
        <img src="/icon.svg" alt="" width="32" height="32" />
        Pelk
      </a>
      <Entry href="/" icon="home" current={route.value.view === "home"}>
        {t.home}
      </Entry>
      <Entry href="/search" icon="search" current={route.value.view === "search"}>
        {t.search}
      </Entry>
      {loginState.value !== "unknown" && !needsLogin.value && <Branches />}
      {loginState.value === "loggedIn" && wide && <Playlists />}
      <span class="space" />
      <Entry href="/queue" icon="queue" current={route.value.view === "queue"}>
        {t.queue}
      </Entry>
      <Entry href="/account" icon="person" current={["account", "about"].includes(route.value.view)}>
        {t.account}
      </Entry>
    </nav>
  );
}

function Branches() {
  const here = route.value.view === "browse" ? route.value.path : "";
  return (
    <div class="branches">
      {menuOf().rows.map((row) => (
        <Entry
          key={row.path}
          href={urlOf(row)}
          current={here === row.path || (!!row.path?.endsWith("/") && here.startsWith(row.path))}
        >
          <bdi>{titleOf(row)}</bdi>
        </Entry>
      ))}
    </div>
  );
}

const playlistsShown = 20;

/** The listener's own playlists. */
function Playlists() {
  const list = lists.of(service.playlistsPath);
  list.changed.value;
  useEffect(() => list.show(0, playlistsShown - 1), [list, list.changed.value]);
  const here = route.value.view === "browse" ? route.value.path : "";
  const rows = Array.from({ length: Math.min(list.count ?? 0, playlistsShown) }, (_, i) => list.at(i));
  const parent = {
    title: menuOf().rows.find(({ path }) => path === service.playlistsPath)?.title ?? "",
    url: browseUrl(service.playlistsPath),
  };
  if (rows.length === 0) return null;
  return (
    <div class="branches own" role="group" aria-label={parent.title || t.playlist}>
      {rows.map(
        (row) =>
          row && (
            <Link key={row.path} href={urlOf(row)} class="entry" steps={[parent]} current={here === row.path}>
              <span dir="auto">{titleOf(row)}</span>
            </Link>
          ),
      )}
    </div>
  );
}

function Entry(props: { href: string; icon?: IconName; current: boolean; children: ComponentChildren }) {
  return (
    <Link href={props.href} class="entry" current={props.current}>
      {props.icon && <Icon name={props.icon} size={22} />}
      <span>{props.children}</span>
    </Link>
  );
}

/** Navigation of a phone, at the bottom. */
function TabBar() {
  const view = route.value.view;
  const count = status.value?.queue.count ?? 0;
  return (
    <nav class="tab-bar" aria-label={t.menu}>
      <Entry href="/" icon="home" current={view === "home" || view === "browse"}>
        {t.home}
      </Entry>
      <Entry href="/search" icon="search" current={view === "search"}>
        {t.search}
      </Entry>
      <Entry href="/queue" icon="queue" current={view === "queue"}>
        {t.queue}
        {count > 0 && <span class="unseen"> ({t.tracks(count)})</span>}
      </Entry>
      <Entry href="/account" icon="person" current={view === "account" || view === "about"}>
        {t.account}
      </Entry>
    </nav>
  );
}
