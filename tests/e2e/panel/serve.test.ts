import { spawn } from "node:child_process";
import { mkdtempSync, rmSync } from "node:fs";
import { createServer } from "node:net";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { expect, test } from "vitest";
import { patienceMs, programs, root, testLimitMs } from "./stage";

interface Run {
  panel: string;
  service: string;
  said: () => string;
  /** Sends a signal to the script alone, as a terminal does; gives its exit code. */
  end: (signal: NodeJS.Signals) => Promise<number | null>;
}

async function serve(home: string): Promise<Run> {
  const script = spawn(join(root, "scripts/serve"), ["--bin", programs, "--home", home], {
    stdio: ["ignore", "pipe", "pipe"],
  });
  const ended = new Promise<number | null>((done) => script.once("exit", (code) => done(code)));
  let out = "";
  for (const stream of [script.stdout, script.stderr])
    stream.on("data", (data: Buffer) => (out += data.toString()));
  await expect.poll(() => out, { timeout: patienceMs }).toContain("pelk --help");
  return {
    panel: /The panel\s+(\S+)/.exec(out)![1]!,
    service: /The service\s+(\S+)/.exec(out)![1]!,
    said: () => out,
    end: (signal) => {
      script.kill(signal);
      return ended;
    },
  };
}

const answers = (url: string): Promise<boolean> =>
  fetch(url).then(
    () => true,
    () => false,
  );

test.each(["SIGINT", "SIGTERM"] as const)(
  "opens the panel and names the demo account; %s ends player and sandbox",
  async (signal) => {
    const home = mkdtempSync(join(tmpdir(), "serve-"));
    const run = await serve(home);
    expect(run.said()).toContain("demo@example.com, password: demo");
    const page = await fetch(run.panel);
    expect(await page.text()).toContain('<div id="panel">');
    expect(await answers(run.service)).toBe(true);
    expect(await run.end(signal)).toBe(0);
    expect(await answers(run.panel)).toBe(false);
    expect(await answers(run.service)).toBe(false);
    rmSync(home, { recursive: true });
  },
  testLimitMs,
);

test(
  "takes a free port where its own is in use",
  async () => {
    // Another program may have the port already; then it is in use just as well.
    const other = createServer();
    await new Promise<void>((done) => {
      other.once("error", () => done());
      other.listen(8080, "127.0.0.1", done);
    });
    const home = mkdtempSync(join(tmpdir(), "serve-"));
    const run = await serve(home);
    expect(run.said()).toContain("Port 8080 is in use by another program");
    expect(new URL(run.panel).port).not.toBe("8080");
    expect(await answers(run.panel)).toBe(true);
    expect(await run.end("SIGINT")).toBe(0);
    other.close();
    rmSync(home, { recursive: true });
  },
  testLimitMs,
);
