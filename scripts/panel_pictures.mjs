#!/usr/bin/env node
// Makes the README's pictures of the panel out of those that panel_looks_test leaves in the build's folder.
// Usage: scripts/panel_pictures.mjs [FOLDER], build/dev/screenshots by default.
import { readFileSync } from "node:fs";
import { join } from "node:path";
import { fileURLToPath } from "node:url";
import { chromium } from "playwright-core";

const root = fileURLToPath(new URL("..", import.meta.url));
const folder = process.argv[2] ?? join(root, "build/dev/screenshots");
const pictures = [
  { from: "home-desktop-light", to: "panel-desktop", width: 1440, height: 900 },
  { from: "playing-phone-dark", to: "panel-phone", width: 585, height: 1266 },
];

const browser = await chromium.launch({
  executablePath: process.env.PELK_CHROMIUM ?? "/usr/bin/chromium",
  args: ["--headless", "--no-sandbox", "--disable-gpu"],
});
try {
  for (const { from, to, width, height } of pictures) {
    const png = readFileSync(join(folder, `${from}.png`)).toString("base64");
    const page = await browser.newPage({ viewport: { width, height } });
    await page.setContent(
      `<body style="margin: 0"><img src="data:image/png;base64,${png}" width="${width}" height="${height}"></body>`,
    );
    await page.locator("img").evaluate((image) => image.decode());
    const path = join(root, "docs/images", `${to}.jpg`);
    await page.screenshot({ path, type: "jpeg", quality: 82 });
    console.log(path);
  }
} finally {
  await browser.close();
}
