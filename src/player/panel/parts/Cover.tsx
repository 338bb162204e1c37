import { useState } from "preact/hooks";
import { Icon, type IconName } from "./Icon";

/** A picture, or a quiet stand-in where there is none or it cannot be had. Decorative: the title stands beside it. */
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
  const [shown, setShown] = useState("");
  return (
    <span class={round ? "cover round" : "cover"}>
      {src && failed !== src ? (
        <img
          key={src}
          src={src}
          alt=""
          loading="lazy"
          decoding="async"
          draggable={false}
          referrerpolicy="no-referrer"
          class={shown === src ? "shown" : ""}
          onLoad={() => setShown(src)}
          onError={() => setFailed(src)}
        />
      ) : (
        <Icon name={icon} size={32} />
      )}
    </span>
  );
}
