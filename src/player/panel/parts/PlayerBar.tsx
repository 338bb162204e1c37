import { skip } from "../operate";
import { navigate, route } from "../router";
import { byline, status, t, titleOf } from "../state";
import { FormatBadge, PlayButton, RepeatButton, ShuffleButton, SkipButton, Volume } from "./Controls";
import { Cover } from "./Cover";
import { Icon } from "./Icon";
import { Link } from "./Link";
import { AlbumName, ByName } from "./Names";
import { SleepTimer } from "./SleepTimer";
import { useTouch } from "./useTouch";
import { Progress, ProgressLine } from "./Progress";

/** The current track, at the bottom of every page. */
export function PlayerBar() {
  const now = status.value;
  const row = now && now.state !== "stopped" ? now.row : null;
  const touch = useTouch({
    swipe: { left: () => skip("next"), right: () => skip("previous"), up: () => navigate("/playing") },
  });
  return (
    <section
      {...touch}
      id="player"
      tabIndex={-1}
      class={row ? "player-bar" : "player-bar idle"}
      aria-label={t.nowPlaying}
    >
      <ProgressLine />
      <div class="player-track">
        {row ? (
          <span class="player-link">
            <Cover src={row.icon} />
            <span class="player-text">
              <Link href="/playing" class="player-title" label={t.labelled(t.openNowPlaying, titleOf(row))}>
                <bdi>{titleOf(row)}</bdi>
              </Link>
              <span class="player-sub">
                <ByName row={row} />
                {byline(row) && row.metaData?.album && " – "}
                <AlbumName row={row} />
              </span>
            </span>
          </span>
        ) : (
          <span class="player-link">
            <Cover />
            <span class="player-text">
              <span class="player-title">{t.nothingPlays}</span>
              <span class="player-sub">{t.nothingPlaysHint}</span>
            </span>
          </span>
        )}
      </div>
      <div class="player-middle">
        <div class="controls">
          <ShuffleButton />
          <SkipButton to="previous" />
          <PlayButton />
          <SkipButton to="next" />
          <RepeatButton />
        </div>
        <Progress />
      </div>
      <div class="player-right">
        <FormatBadge />
        <Volume />
        <SleepTimer />
        <Link href="/queue" class="plain" label={t.queue} current={route.value.view === "queue"}>
          <Icon name="queue" size={22} />
        </Link>
      </div>
      <div class="player-small">
        <PlayButton />
        <SkipButton to="next" />
      </div>
    </section>
  );
}
