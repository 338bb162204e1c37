import { useState } from "preact/hooks";
import { Icon, type IconName } from "./Icon";

/** A picture, or a plain placeholder if it is missing or cannot be loaded. Decorative: the title is beside it. */
export function Cover({
  src,
  round = false,
  icon = "note",
}: {
  src?: string | undefined;
  round?: boolean;
  icon?: IconName;
}) {
  const [failed, setFailed] = useState("");
  return (
    <span class={round ? "cover round" : "cover"}>
      {src && failed !== src ? (
        <Picture key={src} src={src} onError={() => setFailed(src)} />
      ) : (
        <Icon name={icon} size={32} />
      )}
    </span>
  );
}

/** One picture, of one address: an address that was left before it loaded must not hide the present one when it does. */
function Picture({ src, onError }: { src: string; onError: () => void }) {
  const [shown, setShown] = useState(false);
  return (
    <img
      src={src}
      alt=""
      loading="lazy"
      decoding="async"
      draggable={false}
      referrerpolicy="no-referrer"
      class={shown ? "shown" : ""}
      onLoad={() => setShown(true)}
      onError={onError}
    />
  );
}
