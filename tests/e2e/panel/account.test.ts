import type { Page } from "playwright-core";
import { afterAll, beforeAll, describe, expect, test } from "vitest";
import { demo, leave, patienceMs, Stage, testLimitMs } from "./stage";

let stage: Stage;
let page: Page;
beforeAll(async () => {
  stage = await Stage.open({ loggedIn: false });
  page = await stage.page();
}, testLimitMs);
afterAll(() => stage?.close(), testLimitMs);

async function logIn(password: string): Promise<void> {
  await page.getByLabel("User name or e-mail").fill(demo.user);
  await page.getByLabel("Password", { exact: true }).fill(password);
  await page.getByRole("button", { name: "Log in" }).click();
}

describe("the account", { timeout: testLimitMs }, () => {
  test("must be entered at the first start, whatever the address", async () => {
    await page.getByRole("heading", { name: "Welcome" }).waitFor();
    expect(await page.getByText("You are not logged in.").isVisible()).toBe(true);
    await page.goto(`${stage.url}/browse?path=qobuz%3Afeatured%2Falbums`);
    await page.getByRole("heading", { name: "Welcome" }).waitFor();
  });

  test("shows the service's message about a wrong password", async () => {
    await page.goto(stage.url);
    await logIn("wrong");
    const said = page.getByRole("alert");
    await said.waitFor();
    // The service's own words.
    expect(await said.textContent()).toBe("Invalid username/email and password combination");
    await page.getByText("The login failed.").waitFor();
  });

  test("opens the music after the right password, in every browser at once", async () => {
    const other = await stage.page();
    await other.getByRole("heading", { name: "Welcome" }).waitFor();
    const asked = await stage.page({}, `/search?q=${encodeURIComponent("δρα")}`);
    await asked.getByRole("heading", { name: "Welcome" }).waitFor();
    await logIn(demo.password);
    await page.getByRole("heading", { name: "Discover" }).waitFor();
    await other.getByRole("heading", { name: "Discover" }).waitFor();
    // Then the requested page opens.
    await asked.locator(".results .track-title").first().waitFor();
    expect(await asked.getByRole("searchbox").inputValue()).toBe("δρα");
    await leave(other);
    await leave(asked);
  });

  test("shows who is logged in", async () => {
    await page.getByRole("link", { name: "Account" }).first().click();
    await page.getByText(`You are logged in as ${demo.user}.`).waitFor();
    expect(await page.title()).toBe("Account · Pelk");
  });

  test("offers the sound qualities in words, and keeps the choice", async () => {
    const finest = page.getByRole("radio", { name: /Hi-Res \(maximum\)/ });
    await finest.check();
    await expect.poll(() => stage.command(["quality"]).trim(), { timeout: patienceMs }).toBe("hires192");
    await page.reload();
    await expect.poll(() => finest.isChecked(), { timeout: patienceMs }).toBe(true);
  });

  test("shows a quality that another browser chose", async () => {
    const other = await stage.page({}, "/account");
    await other.getByRole("radio", { name: /Data saver/ }).check();
    await expect
      .poll(() => page.getByRole("radio", { name: /Data saver/ }).isChecked(), { timeout: patienceMs })
      .toBe(true);
    await leave(other);
  });

  test.each([
    ["de-AT", "de", "Konto", "Entdecken", "Audioqualität"],
    ["fr", "fr", "Compte", "Découvrir", "Qualité audio"],
  ])("speaks the browser's language: %s", async (locale, language, account, discover, quality) => {
    const other = await stage.page({ locale }, "/account");
    await other.getByRole("heading", { name: account }).waitFor();
    await other.getByText(quality, { exact: true }).waitFor();
    expect(await other.locator("html").getAttribute("lang")).toBe(language);
    // The menu's texts come from the player, in the same language.
    await other.getByRole("navigation").getByText(discover, { exact: true }).waitFor();
    await leave(other);
  });

  test("never receives the password or a token", async () => {
    await page.goto(`${stage.url}/account`);
    await page.getByText(`You are logged in as ${demo.user}.`).waitFor();
    const heard: string[] = [];
    const asked: string[] = [];
    page.on("response", async (response) => {
      asked.push(response.url());
      if (response.url().includes("/api/data")) heard.push(await response.text().catch(() => ""));
    });
    await page.getByRole("button", { name: "Log out" }).click();
    await page.getByText("You are not logged in.").waitFor();
    await logIn(demo.password);
    await page.getByText(`You are logged in as ${demo.user}.`).waitFor();
    // Logging out, logging in, and the user's name.
    await expect.poll(() => heard.length, { timeout: patienceMs }).toBeGreaterThanOrEqual(3);
    expect(heard.join("\n")).not.toMatch(/token|"demo"/i);
    // Nor does an address, which browsers and servers write down.
    expect(asked.concat(page.url()).join("\n")).not.toMatch(/password|=demo\b|token/i);
    expect(
      await page.evaluate(() => JSON.stringify([history.state, sessionStorage, localStorage])),
    ).not.toMatch(/password|"demo"|token/i);
  });

  test("closes the music when it logs out", async () => {
    await page.getByRole("button", { name: "Log out" }).click();
    await page.getByText("You are not logged in.").waitFor();
    await page.getByRole("link", { name: "Home", exact: true }).click();
    await page.getByRole("heading", { name: "Welcome" }).waitFor();
    expect(() => stage.command(["status"])).toThrow(/nobody is logged in/);
  });
});
