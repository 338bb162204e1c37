import { useEffect } from "preact/hooks";
import { skip } from "../operate";
import { back } from "../router";
import { pageTitle, status, t, titleOf } from "../state";
import { FormatBadge, PlayButton, RepeatButton, ShuffleButton, SkipButton, Volume } from "../parts/Controls";
import { Cover } from "../parts/Cover";
import { Icon } from "../parts/Icon";
import { Link } from "../parts/Link";
import { AlbumName, ByName } from "../parts/Names";
import { Progress } from "../parts/Progress";
import { QueueList } from "../parts/QueueList";
import { SleepTimer } from "../parts/SleepTimer";
import { useTouch } from "../parts/useTouch";
import { useWide } from "../parts/useWide";
import { QueueHead } from "./Queue";

/** The current track on a full page, with the queue beside it if there is room. */
export function NowPlaying() {
  const now = status.value;
  const row = now && now.state !== "stopped" ? now.row : null;
  const wide = useWide(1000);
  const title = row ? titleOf(row) : t.nothingPlays;
  useEffect(() => {
    pageTitle.value = t.nowPlaying;
  }, []);
  const touch = useTouch({ swipe: { down: back, left: () => skip("next"), right: () => skip("previous") } });
  return (
    <div class="now">
      {row?.icon && (
        <div class="now-back" aria-hidden="true">
          <img src={row.icon} alt="" referrerpolicy="no-referrer" />
        </div>
      )}
      <div class="now-head">
        <button class="plain" aria-label={t.back} onClick={back}>
          <Icon name="down" />
        </button>
        <span>{t.nowPlaying}</span>
        <SleepTimer />
        <Link href="/queue" class="plain" label={t.queue}>
          <Icon name="queue" />
        </Link>
      </div>
      <div class="now-body">
        <div class="now-track">
          <div class="now-cover" {...touch}>
            <Cover src={row?.icon} />
          </div>
          <div class="now-text">
            <h1 tabIndex={-1} dir="auto">
              {title}
            </h1>
            <p class="now-sub" dir="auto">
              {row ? <ByName row={row} /> : t.nothingPlaysHint}
            </p>
            {row?.metaData?.album && (
              <p class="now-album" dir="auto">
                <AlbumName row={row} />
              </p>
            )}
            <p class="now-format" role="status">
              {now?.state === "opening" ? t.opening : now?.stalled ? t.waiting : <FormatBadge />}
            </p>
          </div>
          <Progress />
          <div class="controls large">
            <ShuffleButton />
            <SkipButton to="previous" size={30} />
            <PlayButton size={34} />
            <SkipButton to="next" size={30} />
            <RepeatButton />
          </div>
          <Volume />
        </div>
        {wide && (
          <div class="now-queue">
            <QueueHead level={2} />
            <QueueList />
          </div>
        )}
      </div>
    </div>
  );
}
