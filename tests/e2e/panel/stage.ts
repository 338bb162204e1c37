import { spawn, spawnSync, type ChildProcess } from "node:child_process";
import { createHash, X509Certificate } from "node:crypto";
import { mkdirSync, mkdtempSync, readFileSync, rmSync, existsSync } from "node:fs";
import { tmpdir } from "node:os";
import { fileURLToPath } from "node:url";
import { join, resolve } from "node:path";
import { chromium, type Browser, type BrowserContextOptions, type Page } from "playwright-core";
import { expect } from "vitest";

/** The real player, the real sandbox of the service and a real browser, each in its own process. */

export const root = resolve(fileURLToPath(new URL(".", import.meta.url)), "../../..");
export const programs = resolve(process.env.PELK_BIN_DIR ?? join(root, "build/dev/bin"));
export const screenshots = resolve(process.env.PELK_SCREENSHOTS ?? join(programs, "../screenshots"));

/** How long anything may take on a machine that does much else. */
export const patienceMs = Number(process.env.PELK_PATIENCE_MS ?? 60_000);

/** The time that a whole test may take. */
export const testLimitMs = 240_000;

export const demo = { user: "demo@example.com", password: "demo" };

/** Starts a program and waits for the line that says where it is. */
async function launch(
  name: string,
  args: string[],
  env: NodeJS.ProcessEnv,
  told: RegExp,
): Promise<{ process: ChildProcess; url: string }> {
  const child = spawn(join(programs, name), args, { env, stdio: ["ignore", "pipe", "pipe"] });
  let out = "";
  let errors = "";
  child.stderr!.on("data", (data: Buffer) => (errors = (errors + data.toString()).slice(-4000)));
  const url = await new Promise<string>((found, failed) => {
    const timer = setTimeout(
      () => failed(new Error(`${name} did not start in time: ${out}${errors}`)),
      patienceMs,
    );
    child.stdout!.on("data", (data: Buffer) => {
      out += data.toString();
      const match = told.exec(out);
      if (!match) return;
      clearTimeout(timer);
      found(match[1]!);
    });
    child.on("exit", (code) => failed(new Error(`${name} ended with ${code}: ${out}${errors}`)));
  });
  return { process: child, url };
}

async function end(child: ChildProcess | undefined): Promise<number | null> {
  if (!child || child.exitCode !== null) return child?.exitCode ?? null;
  const gone = new Promise<number | null>((done) => child.once("exit", (code) => done(code)));
  child.kill("SIGTERM");
  return gone;
}

/** Closes a page's browser. Handlers of its requests that still wait end without an error. */
export async function leave(page: Page): Promise<void> {
  await page.unrouteAll({ behavior: "ignoreErrors" });
  await page.context().close();
}

export interface Report {
  endpoint: string;
  items: Record<string, string>;
}

export class Stage {
  private readonly home = mkdtempSync(join(tmpdir(), "panel-"));
  private readonly env: NodeJS.ProcessEnv;
  private sandbox: ChildProcess | undefined;
  private pelk: ChildProcess | undefined;
  private browser: Browser | undefined;
  private control = "";
  private sandboxOptions: string[] = [];
  private origin = "";
  private tls = false;
  private readonly faults: string[] = [];
  api = "";
  /** Where the panel is. */
  url = "";

  private constructor() {
    this.env = {
      ...process.env,
      HOME: this.home,
      XDG_CONFIG_HOME: join(this.home, "config"),
      XDG_STATE_HOME: join(this.home, "state"),
      XDG_CACHE_HOME: join(this.home, "cache"),
    };
  }

  /** `origin`: the browser reaches the player by this name alone, and with this password. */
  static async open(
    options: {
      loggedIn?: boolean;
      sandbox?: string[];
      password?: string;
      origin?: string;
      tls?: boolean;
    } = {},
  ): Promise<Stage> {
    const stage = new Stage();
    try {
      stage.origin = options.origin ?? "";
      stage.tls = options.tls ?? false;
      stage.sandboxOptions = options.sandbox ?? [];
      await stage.startService();
      if (options.loggedIn ?? true)
        stage.command(["login", demo.user, "--password-stdin"], `${demo.password}\n`);
      if (options.password) stage.command(["password"], `${options.password}\n`);
      await stage.startPlayer();
      await stage.startBrowser();
      return stage;
    } catch (fault) {
      await stage.close();
      throw fault;
    }
  }

  async startService(): Promise<void> {
    const port = this.api ? new URL(this.api).port : "0";
    const { process: child, url } = await launch(
      "qobuz-sandbox",
      ["--port", port, ...this.sandboxOptions],
      this.env,
      /^qobuz-sandbox: (\S+)$/m,
    );
    this.sandbox = child;
    this.api = url;
    this.control = `${new URL(url).origin}/control/`;
    const settings = spawnSync(join(root, "scripts/sandbox_settings"), [
      url,
      join(this.home, "config/pelk/pelk.ini"),
    ]);
    if (settings.status !== 0) throw new Error(settings.stderr.toString());
  }

  async startPlayer(): Promise<void> {
    const port = this.url ? new URL(this.url).port : "0";
    const { process: child, url } = await launch(
      "pelk",
      [
        ...["serve", "--listen", `127.0.0.1:${port}`],
        ...(this.origin ? ["--origin", this.origin] : []),
        ...(this.tls ? ["--tls"] : []),
      ],
      this.env,
      /^The panel is at (\S+?)\/?$/m,
    );
    this.pelk = child;
    this.url = url;
  }
  /** Ends the player as Ctrl-C does; it has to end well. */
  async stopPlayer(): Promise<void> {
    expect(await end(this.pelk)).toBe(0);
  }
  async stopService(): Promise<void> {
    await end(this.sandbox);
  }

  private async startBrowser(): Promise<void> {
    this.browser = await chromium.launch({
      executablePath: process.env.PELK_CHROMIUM ?? "/usr/bin/chromium",
      timeout: patienceMs,
      args: [
        "--headless",
        "--no-sandbox",
        "--disable-gpu",
        "--disable-quic",
        "--no-first-run",
        "--disable-background-networking",
        "--disable-component-update",
        "--disable-sync",
        ...(this.origin
          ? [`--host-resolver-rules=MAP ${new URL(this.origin).host} ${new URL(this.url).host}`]
          : []),
        ...(this.tls ? [`--ignore-certificate-errors-spki-list=${this.keyHash()}`] : []),
      ],
    });
  }

  /** A separate browser. If its pages report errors, close() fails the test. */
  async page(options: BrowserContextOptions = {}, path = "/"): Promise<Page> {
    const context = await this.browser!.newContext({
      locale: "en-GB",
      viewport: { width: 1440, height: 900 },
      reducedMotion: "reduce",
      // Tests of the page itself answer its requests themselves.
      serviceWorkers: "block",
      ...options,
    });
    context.setDefaultTimeout(patienceMs);
    const page = await context.newPage();
    page.on("pageerror", (error) => this.faults.push(String(error)));
    page.on("console", (message) => {
      if (
        message.type() === "error" &&
        !/Failed to load resource|ERR_|Cross-Origin-Opener-Policy header has been ignored/.test(
          message.text(),
        )
      )
        this.faults.push(message.text());
    });
    await page.goto((this.origin || this.url) + path);
    return page;
  }

  /** The browser's fingerprint of the player's certificate key. */
  private keyHash(): string {
    const pem = readFileSync(join(this.home, "state/pelk/certificate.pem"), "utf8");
    const key = new X509Certificate(pem).publicKey.export({ type: "spki", format: "der" });
    return createHash("sha256").update(key).digest("base64");
  }

  /** Runs the player's command line in the same home. */
  command(args: string[], input = ""): string {
    const run = spawnSync(join(programs, "pelk"), args, { env: this.env, input, encoding: "utf8" });
    if (run.status !== 0) throw new Error(`pelk ${args.join(" ")}: ${run.stdout}${run.stderr}`);
    return run.stdout;
  }

  async sandboxAnswers<T>(path: string, method = "GET", body?: unknown): Promise<T> {
    const response = await fetch(this.control + path, {
      method,
      ...(body !== undefined && { body: JSON.stringify(body) }),
    });
    if (!response.ok) throw new Error(`${method} ${path}: ${response.status} ${await response.text()}`);
    return (await response.json()) as T;
  }
  async fault(fault: Record<string, unknown>): Promise<void> {
    await this.sandboxAnswers("faults", "POST", fault);
  }
  async noFaults(): Promise<void> {
    await this.sandboxAnswers("faults", "DELETE");
  }
  async reports(): Promise<Report[]> {
    return (await this.sandboxAnswers<{ reports: Report[] }>("reports")).reports;
  }
  /** The calls of an endpoint that the service received, as their query items. */
  async calls(endpoint: string): Promise<URLSearchParams[]> {
    const heard = await this.sandboxAnswers<{ requests: { target: string }[] }>("requests");
    return heard.requests
      .map(({ target }) => new URL(target, this.api))
      .filter((url) => url.pathname.endsWith(endpoint))
      .map((url) => url.searchParams);
  }

  /** The player's description of itself. */
  async ask<T>(path: string): Promise<T> {
    return (await (await fetch(this.url + path)).json()) as T;
  }

  /** Has the player do something, as a browser would. */
  async operate(operation: string, body: unknown): Promise<void> {
    const response = await fetch(`${this.url}/api/player/${operation}`, {
      method: "POST",
      headers: { "Content-Type": "application/json" },
      body: JSON.stringify(body),
    });
    expect(response.ok, `${operation}: ${response.status}`).toBe(true);
  }

  async close(): Promise<void> {
    await this.browser?.close();
    await end(this.pelk);
    await end(this.sandbox);
    if (existsSync(this.home)) rmSync(this.home, { recursive: true, force: true });
    expect(this.faults, "mistakes of the page").toEqual([]);
  }
}

/** The visible parts of a page that are still missing: fonts, rows, covers. */
const missing = (page: Page): Promise<string[]> =>
  page.evaluate(() => {
    const seen = (image: HTMLImageElement): boolean => {
      const place = image.getBoundingClientRect();
      const shelf = image.closest(".shelf")?.getBoundingClientRect();
      return (
        place.bottom > 0 &&
        place.top < innerHeight &&
        place.right > Math.max(shelf?.left ?? 0, 0) &&
        place.left < Math.min(shelf?.right ?? innerWidth, innerWidth)
      );
    };
    const waits = (image: HTMLImageElement): boolean =>
      !image.complete || (image.closest(".cover") !== null && !image.classList.contains("shown"));
    return [
      ...(document.fonts.status === "loaded" ? [] : ["a font"]),
      ...[...document.querySelectorAll(".skeleton")].map((each) => each.outerHTML.slice(0, 200)),
      ...[...document.querySelectorAll<HTMLImageElement>("img")]
        .filter((image) => seen(image) && waits(image))
        .map((image) => `${image.outerHTML} ${JSON.stringify(image.getBoundingClientRect())}`),
    ];
  });

/** The screens on which each new view is looked at. */
export const screens = (["light", "dark"] as const).flatMap((colorScheme) =>
  (
    [
      ["phone", { width: 390, height: 844 }],
      ["desktop", { width: 1440, height: 900 }],
    ] as const
  ).map(([device, viewport]) => [`${device}-${colorScheme}`, { viewport, colorScheme }] as const),
);

/** A screenshot of the page, once its pictures are loaded. */
export async function shot(page: Page, name: string): Promise<void> {
  mkdirSync(screenshots, { recursive: true });
  await expect.poll(() => missing(page), { timeout: patienceMs }).toEqual([]);
  await page.screenshot({ path: join(screenshots, `${name}.png`) });
}
