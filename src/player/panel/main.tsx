import { render } from "preact";
import { App } from "./App";
import { startRouter } from "./router";
import { language, start } from "./state";
import "./style/base.css";
import "./style/layout.css";
import "./style/browse.css";
import "./style/player.css";
import "./style/forms.css";

document.documentElement.lang = language;
startRouter();
start();
render(<App />, document.getElementById("panel")!);
