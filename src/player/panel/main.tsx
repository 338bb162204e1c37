import { effect } from "@preact/signals";
import { render } from "preact";
import { App } from "./App";
import { loadAll } from "./parts/later";
import { startKeys } from "./keys";
import { startRouter } from "./router";
import { checkAccess, locked } from "./access";
import { client, connection, follow, language, listener, lists } from "./state";
import { startTooltips } from "./tooltips";
import "./style/base.css";
import "./style/layout.css";
import "./style/head.css";
import "./style/covers.css";
import "./style/lists.css";
import "./style/tracks.css";
import "./style/results.css";
import "./style/player.css";
import "./style/queue.css";
import "./style/forms.css";

document.documentElement.lang = language;
startRouter();
startTooltips();
startKeys();
client.locked = () => void checkAccess();
void checkAccess();
effect(() => {
  if (locked.value) return;
  const end = follow(() => void checkAccess());
  return () => {
    end();
    // What was asked for without the right to it is asked for again.
    lists.forget();
    listener.value = listener.peek() + 1;
    connection.value = "connecting";
  };
});

/** What the first page does not need. */
function onLoad(): void {
  loadAll();
  // Browsers run service workers only over https and on this machine.
  if (import.meta.env.PROD && "serviceWorker" in navigator)
    navigator.serviceWorker.register("/sw.js").catch(() => undefined);
}
// The texts of another language may come later than everything else of the page.
if (document.readyState === "complete") onLoad();
else addEventListener("load", onLoad);
render(<App />, document.getElementById("panel")!);
