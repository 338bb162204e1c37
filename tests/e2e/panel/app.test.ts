import { cpSync, existsSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { createServer } from "node:http";
import type { AddressInfo } from "node:net";
import { tmpdir } from "node:os";
import { extname, join } from "node:path";
import { afterAll, beforeAll, describe, expect, test } from "vitest";
import type { RowsAnswer } from "../../../src/player/panel/api/types";
import { browseUrl } from "../../../src/player/panel/model/routes";
import { demo, leave, patienceMs, programs, screens, shot, Stage, testLimitMs } from "./stage";

/** The page as an app: installed, opened while the player is away, shared; and the size of its first page. */

const folder = join(programs, "../share/pelk/panel");

let stage: Stage;
beforeAll(async () => {
  stage = await Stage.open();
}, testLimitMs);
afterAll(() => stage?.close(), testLimitMs);

const aboutTheFirstAlbum = async (): Promise<{ url: string; title: string }> => {
  const { rows } = await stage.ask<RowsAnswer>("/api/rows?path=qobuz%3Afeatured%2Falbums&from=0&to=0");
  return { url: browseUrl(rows[0]!.path!, rows[0]!.title), title: rows[0]!.title! };
};

describe("the panel", { timeout: testLimitMs }, () => {
  test("needs at most 40 KiB on the wire for its first page", async () => {
    const page = await stage.page({}, "/account");
    const html = readFileSync(join(folder, "index.html"), "utf8");
    const files = [...html.matchAll(/(?:src|href)="(\/[^"]+)"/g)]
      .map((found) => found[1]!)
      .filter((file) => !/\.png$/.test(file)); // for phones that install the page
    let total = 0;
    for (const file of ["/", ...files]) {
      const size = await page.evaluate(async (address) => {
        const response = await fetch(address, { cache: "no-store" });
        const body = (await response.arrayBuffer()).byteLength;
        return Number(response.headers.get("Content-Length") ?? body);
      }, file);
      console.log(`${file}: ${size} bytes`);
      total += size;
    }
    console.log(`first page on the wire: ${(total / 1024).toFixed(1)} KiB`);
    expect(total).toBeLessThanOrEqual(40 * 1024);
    await leave(page);
  });

  test("can be installed: a manifest with icons of both kinds, each of the size that it says", async () => {
    const page = await stage.page();
    const manifest = await page.evaluate(async () => {
      const link = document.querySelector<HTMLLinkElement>('link[rel="manifest"]')!;
      return (await (await fetch(link.href)).json()) as {
        display: string;
        icons: { src: string; sizes: string; type: string; purpose?: string }[];
      };
    });
    expect(manifest.display).toBe("standalone");
    const pngs = manifest.icons.filter(({ type }) => type === "image/png");
    expect(pngs.map(({ sizes, purpose }) => `${sizes} ${purpose ?? "any"}`)).toEqual([
      "192x192 any",
      "512x512 any",
      "512x512 maskable",
    ]);
    const apple = await page.locator('link[rel="apple-touch-icon"]').getAttribute("href");
    for (const { src, sizes } of [...pngs, { src: apple!, sizes: "180x180" }]) {
      const size = await page.evaluate(async (address) => {
        const image = new Image();
        image.src = address;
        await image.decode();
        return `${image.naturalWidth}x${image.naturalHeight}`;
      }, src);
      expect(size, src).toBe(sizes);
    }
    await leave(page);
  });

  test("opens while the player is away, says so, and goes on by itself when the player is back", async () => {
    const page = await stage.page({ serviceWorkers: "allow", locale: "de-DE" });
    await page.locator(".tile:not(.skeleton)").first().waitFor();
    await page.evaluate(async () => {
      await navigator.serviceWorker.ready;
    });
    const kept = await page.evaluate(async () => {
      const [name] = await caches.keys();
      return (await (await caches.open(name!)).keys()).map(({ url }) => new URL(url).pathname);
    });
    expect(kept).toContain("/");
    expect(kept.filter((path) => path.startsWith("/api/"))).toEqual([]);
    await stage.stopPlayer();
    await page.goto(`${stage.url}/account`);
    await page.getByText("Der Player antwortet nicht. Neuer Versuch läuft …").waitFor();
    await page.getByRole("heading", { name: "Konto" }).waitFor();
    for (const [name, options] of screens) {
      await page.setViewportSize(options.viewport);
      await page.emulateMedia({ colorScheme: options.colorScheme, reducedMotion: "reduce" });
      await shot(page, `away-${name}`);
    }
    await stage.startPlayer();
    await page.getByText(/Sie sind als/).waitFor();
    await leave(page);
  });

  test("is replaced in the cache by a new version of itself", async () => {
    const copy = mkdtempSync(join(tmpdir(), "panel-versions-"));
    cpSync(folder, copy, { recursive: true });
    const types: Record<string, string> = {
      ".html": "text/html",
      ".js": "text/javascript",
      ".css": "text/css",
    };
    const server = createServer((request, response) => {
      const { pathname } = new URL(request.url!, "http://localhost");
      const name = join(copy, extname(pathname) ? pathname : "index.html");
      if (pathname.startsWith("/api/") || !existsSync(name)) return void response.writeHead(404).end();
      const type = types[extname(name)] ?? "application/octet-stream";
      response.writeHead(200, { "Content-Type": type, "Cache-Control": "no-cache" }).end(readFileSync(name));
    });
    await new Promise<void>((listening) => server.listen(0, "127.0.0.1", listening));
    const url = `http://127.0.0.1:${(server.address() as AddressInfo).port}/account`;
    const edit = (name: string, change: (text: string) => string): void =>
      writeFileSync(join(copy, name), change(readFileSync(join(copy, name), "utf8")));
    const page = await stage.page({ serviceWorkers: "allow" });
    const cached = () => expect.poll(() => page.evaluate(() => caches.keys()), { timeout: patienceMs });
    const version = () => page.locator("meta[name=version]").getAttribute("content", { timeout: patienceMs });
    await page.goto(url);
    await page.evaluate(async () => void (await navigator.serviceWorker.ready));
    await cached().toEqual([expect.stringMatching(/^panel-[0-9a-f]{12}$/)]);

    edit("sw.js", (text) => text.replace(/"panel-[0-9a-f]+"/, '"panel-new"'));
    edit("index.html", (text) => text.replace("</head>", '<meta name="version" content="new"></head>'));
    await page.reload();
    expect(await version(), "the new version is shown at once").toBe("new");
    await cached().toEqual(["panel-new"]);

    server.closeAllConnections();
    await new Promise((closed) => server.close(closed));
    await page.reload();
    expect(await version(), "the new version is shown while the player is away").toBe("new");
    await page.getByText("The player isn’t responding. Trying again…").waitFor();
    rmSync(copy, { recursive: true });
    await leave(page);
  });

  test("shares the address of an album", async () => {
    const { url, title } = await aboutTheFirstAlbum();
    const page = await stage.page({}, url);
    await page.context().grantPermissions(["clipboard-read", "clipboard-write"]);
    await page.getByRole("button", { name: "Share", exact: true }).click();
    await page.getByText("Link copied").waitFor();
    for (const [name, options] of screens) {
      await page.setViewportSize(options.viewport);
      await page.emulateMedia({ colorScheme: options.colorScheme, reducedMotion: "reduce" });
      await shot(page, `share-${name}`);
    }
    expect(await page.evaluate(() => navigator.clipboard.readText())).toBe(stage.url + url);
    await page.getByRole("heading", { name: title, level: 1 }).waitFor();
    await leave(page);
  });

  test("shows a shared album once the listener has logged in", async () => {
    const { url, title } = await aboutTheFirstAlbum();
    await stage.stopPlayer();
    stage.command(["logout"]);
    await stage.startPlayer();
    const page = await stage.page({}, url);
    await page.getByRole("heading", { name: "Welcome" }).waitFor();
    await page.getByLabel("User name or e-mail").fill(demo.user);
    await page.getByLabel("Password", { exact: true }).fill(demo.password);
    await page.getByRole("button", { name: "Log in" }).click();
    await page.getByRole("heading", { name: title, level: 1 }).waitFor();
    await page.locator(".track-title").first().waitFor();
    await leave(page);
  });
});
