import type { Page } from "playwright-core";
import { afterAll, beforeAll, describe, expect, test } from "vitest";
import { leave, patienceMs, Stage, testLimitMs } from "./stage";

/** A phone of the network: its browser reaches the player by another name, as through a proxy. */
const name = "music.home.example";
const password = "correct horse";

let stage: Stage;
let page: Page;
beforeAll(async () => {
  stage = await Stage.open({ password, origin: `http://${name}` });
  page = await stage.page({ locale: "en-GB", viewport: { width: 390, height: 844 } });
}, testLimitMs);
afterAll(() => stage?.close(), testLimitMs);

async function enter(word: string): Promise<void> {
  await page.getByLabel("Password", { exact: true }).fill(word);
  await page.getByRole("button", { name: "Log in" }).click();
}

describe("a phone in the network", { timeout: testLimitMs }, () => {
  test("must enter the password, and learns nothing before", async () => {
    await page.getByRole("heading", { name: "Enter the player’s password" }).waitFor();
    await page.getByText("This connection isn’t encrypted.").waitFor();
    const statuses = await page.evaluate(async () => {
      const paths = ["/api/player", "/api/events", "/api/rows?path=&from=0&to=9", "/api/openapi.json"];
      return Promise.all(paths.map(async (path) => (await fetch(path)).status));
    });
    expect(statuses).toEqual([401, 401, 401, 401]);
  });

  test("sees that a password is wrong", async () => {
    await enter("wrong horse");
    expect(await page.getByRole("alert").textContent({ timeout: patienceMs })).toBe("Wrong password.");
  });

  test("works after the right password, and is asked only once", async () => {
    await enter(password);
    await page.getByRole("heading", { name: "Discover" }).waitFor();
    await page.reload();
    await page.getByRole("heading", { name: "Discover" }).waitFor();
    expect(await page.evaluate(() => document.cookie), "scripts do not see the cookie").toBe("");
  });

  test("is listed with its device, and can log out", async () => {
    await page.getByRole("link", { name: "Account" }).first().click();
    await page.getByRole("heading", { name: "Logged-in devices" }).waitFor();
    await page.getByText("This device", { exact: true }).waitFor();
    await page.getByRole("button", { name: /^Log out Chrome/ }).click();
    await page.getByRole("heading", { name: "Enter the player’s password" }).waitFor();
  });

  test("is asked again at once when another device ends its session", async () => {
    await enter(password);
    await page.getByRole("heading", { name: "Account" }).waitFor();
    const other = await stage.page({ locale: "de" });
    await other.getByRole("heading", { name: "Passwort des Players eingeben" }).waitFor();
    await other.getByLabel("Passwort", { exact: true }).fill(password);
    await other.getByRole("button", { name: "Anmelden" }).click();
    await other.getByRole("link", { name: "Konto" }).first().click();
    const entry = other.getByRole("listitem").filter({ hasText: "Zuletzt verwendet" });
    await entry.getByRole("button", { name: /abmelden$/ }).click();
    await page.getByRole("heading", { name: "Enter the player’s password" }).waitFor();
    await leave(other);
  });
});

test(
  "an encrypted panel opens in a browser that trusts its certificate",
  async () => {
    const tls = await Stage.open({ tls: true });
    const secure = await tls.page();
    await secure.getByRole("heading", { name: "Discover" }).waitFor();
    expect(new URL(secure.url()).protocol).toBe("https:");
    expect(await secure.evaluate(() => isSecureContext)).toBe(true);
    await tls.close();
  },
  testLimitMs,
);
