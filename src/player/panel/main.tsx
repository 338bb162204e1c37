import { render } from "preact";
import { App } from "./App";
import { startKeys } from "./keys";
import { startRouter } from "./router";
import { language, start } from "./state";
import { startTooltips } from "./tooltips";
import "./style/base.css";
import "./style/layout.css";
import "./style/browse.css";
import "./style/player.css";
import "./style/queue.css";
import "./style/forms.css";

document.documentElement.lang = language;
startRouter();
startTooltips();
startKeys();
start();
render(<App />, document.getElementById("panel")!);
