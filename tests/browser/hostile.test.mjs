// What pages may not do to each other and to the user by way of the extension: A is a site that the user has allowed, E a
// hostile one, V one at which the user is logged in.
import assert from "node:assert/strict";
import { mkdirSync, renameSync, rmSync, writeFileSync } from "node:fs";
import { createServer } from "node:http";
import path from "node:path";
import { after, afterEach, before, test } from "node:test";

import {
  allHostsEnded, answer, endMeetings, extensionId, heard, home, hosts, isQuestion, lumhost, meetings, objectWith, openBrowser,
  question, site, slow, states, told, until, url as A, writePage,
} from "./support.mjs";

let context;
let E;
let V;
const pages = new Map(); // of E, by path
const visits = []; // of V

const server = createServer((request, response) => {
  const { host, cookie = "", "sec-fetch-site": from } = request.headers;
  response.setHeader("Content-Type", "text/html");
  if (host.startsWith("victim")) {
    visits.push({ path: new URL(request.url, V).pathname, cookie, from });
    response.setHeader("Set-Cookie", ["strict=1; SameSite=Strict", "lax=1; SameSite=Lax"]);
  }
  response.end(pages.get(request.url) || "");
});

before(async () => {
  await new Promise((listening) => server.listen(0, "127.0.0.1", listening));
  E = `http://evil.localhost:${server.address().port}`;
  V = `http://victim.localhost:${server.address().port}`;
  lumhost("browser", "install");
  lumhost("allow", A);
  lumhost("forbid", slow);
  // The extension may run in private windows.
  const profile = path.join(home, ".config/chromium/Default");
  const preferences = JSON.stringify({ extensions: { settings: { [extensionId]: { incognito: true } } } });
  rmSync(profile, { recursive: true, force: true });
  mkdirSync(profile, { recursive: true });
  writeFileSync(path.join(profile, "Preferences"), preferences);
  writeFileSync(path.join(profile, "Secure Preferences"), preferences);
  context = await openBrowser();
  await open(`${V}/login`);
});
after(async () => {
  await context?.close();
  server.closeAllConnections();
  server.close();
});
afterEach(async () => {
  await Promise.all(context.pages().slice(1).map((page) => page.close()));
  await allHostsEnded();
  await endMeetings();
});

async function open(address) {
  const page = await context.newPage();
  await page.goto(address);
  return page;
}

// A page of E that takes down what it hears, at this path.
function hostile(name, body) {
  pages.set(name, `<!DOCTYPE html><script>var heard = []; for (const name of ["state", "problem", "blocked"])
document.addEventListener("lum" + name, (event) => heard.push([name, event.detail]));</script>${body}`);
  return E + name;
}

// Also in frames that are not drawn.
const saw = (frame, ...wanted) =>
  until(wanted.join(" or "), async () => (await states(frame).catch(() => [])).find((state) => wanted.includes(state)));

const asking = (root) => objectWith({ LumUrlRoot: root });
const questions = () => context.pages().filter(isQuestion).length;
const popup = () => open(`chrome-extension://${extensionId}/popup.html`);
async function takeBack(name) {
  const page = await popup();
  const row = page.locator(`#sites .row:has(.site:text-is("${name}"))`);
  await row.getByRole("button").click();
  await until("it is taken back", async () => (await row.count()) === 0);
  await page.close();
}

test("a frame in another site's page is asked about by both names", async () => {
  writePage("framed.html", { szNextUrl: `${V}/framed` });
  const page = await open(hostile("/hidden", `<iframe style="display:none" src="${A}/framed.html"></iframe>`));
  const asked = await question(context);
  await asked.waitForSelector("#frame:visible");
  const text = await asked.textContent("main");
  assert.ok(text.includes(A) && text.includes(E), text);
  assert.deepEqual(hosts(), []);
  // Neither the key nor the click that was meant for the page is an answer.
  await asked.keyboard.press("Enter");
  assert.ok(await asked.isDisabled("#no"));
  await asked.waitForSelector("#no:enabled");
  await asked.keyboard.press("Enter");
  assert.equal(questions(), 1);
  await answer(context, "#yes");
  await saw(page.frames()[1], "starting");
});

test("pages are sent where they could go themselves, with the cookies that this gives them", async () => {
  const inE = (attributes) => hostile("/frame", `<iframe ${attributes} src="${A}/to.html"></iframe>`);
  const inA = () => `${A}/${writePage("around.html", {}, '<iframe src="to.html"></iframe>', "")}`;
  const plain = () => `${A}/to.html`;
  const kSandbox = 'sandbox="allow-scripts allow-same-origin"';
  for (const [what, address, target, cookie] of [
    ["a page", plain, "_self", "lax=1"],
    ["a page", plain, "_top", "lax=1"],
    ["a page's frame", plain, "meeting", ""],
    ["a page, a new window without a click", plain, "_blank", null],
    ["a page, a name that no frame has", plain, "nowhere", null],
    ["a frame of its own site", inA, "_top", "lax=1"],
    ["another site's frame", () => inE(""), "_self", ""],
    ["another site's frame", () => inE(""), "_parent", null],
    ["another site's hidden frame", () => inE('style="display:none"'), "_top", null],
    ["another site's sandboxed frame", () => inE(kSandbox), "_top", null],
    ["another site's sandboxed frame", () => inE(kSandbox), "_blank", null],
  ]) {
    // Nothing is evaluated in the page meanwhile: that would count as a click.
    const more = `<iframe name="meeting"></iframe><script>
document.addEventListener("lumblocked", () => fetch("${V}/blocked", { mode: "no-cors" }))</script>`;
    writePage("to.html", { szFrameName: target, szNextUrl: `${V}/next` }, more);
    visits.length = 0;
    const page = await open(address());
    const arrived = () => visits.filter((visit) => visit.path === "/next");
    await until(`${what}: ${target}`, () => visits.length > 0);
    const got = arrived().map((visit) => `${visit.from} ${visit.cookie}`);
    assert.deepEqual(got, cookie === null ? [] : [`cross-site ${cookie}`], `${what}: ${target}`);
    if (target === "_blank" && address === plain) { // the hint's link opens it
      await page.keyboard.press("Tab");
      await page.keyboard.press("Enter");
      await until("the click opens it", () => arrived().length === 1);
      assert.equal(arrived()[0].cookie, "lax=1");
    }
    await Promise.all(context.pages().slice(1).map((other) => other.close()));
    await allHostsEnded();
    await endMeetings();
  }
});

test("a site that was refused is not asked about again, whatever it names", async () => {
  const page = await open(hostile("/asks", asking(V)));
  await answer(context, "#no");
  await told(page, "refused");
  for (const root of ["http://other.localhost", E, V]) {
    hostile("/asks", asking(root));
    await page.reload();
    await told(page, "refused");
    assert.ok(!(await states(page)).includes("asking"), root);
  }
  await takeBack(E);
});

test("a question that was closed does not come back in its tab, until the user wants it", async () => {
  const page = await open(hostile("/asks", asking(E)));
  for (const round of [1, 2, 3]) {
    if (round === 1) {
      await (await question(context)).close();
    }
    await told(page, "refused");
    assert.equal((await states(page)).includes("asking"), round === 1);
    hostile("/asks", asking(`${V}/${round}`));
    await page.reload();
  }
  await takeBack(E);
  await page.reload();
  await question(context);
});

test("an answer counts for the question that was on the screen", async () => {
  const first = await open(hostile("/first", asking(E)));
  const asked = await question(context);
  await asked.waitForSelector("#yes:enabled");
  const second = await open(hostile("/second", asking(V)));
  await told(second, "asking");
  // The click comes when the first question is withdrawn, and the window does not know it yet.
  const clicked = asked.evaluate(() => {
    for (const end = Date.now() + 2000; Date.now() < end; );
    document.querySelector("#yes").click();
  });
  await first.close();
  await clicked;
  await asked.waitForFunction((name) => document.querySelector("#sites").textContent.includes(name), V);
  assert.deepEqual(await asked.evaluate(() => Array.from(document.querySelectorAll("button"), (button) => button.disabled)), [true, true]);
  await asked.waitForSelector("#yes:enabled");
  assert.equal((await states(second)).at(-1), "asking");
});

test("another page's frames do not use up a site's starts, nor do failures", async () => {
  writePage("framed.html", { LumUrlRoot: A });
  const reload = async (frame) => {
    await frame.goto(`${A}/framed.html`);
    return saw(frame, "starting", "failed", "missing");
  };
  const own = await open(`${A}/joined.html`);
  lumhost("browser", "uninstall");
  for (let i = 0; i < 25; i++) {
    assert.equal(await reload(own), "missing");
  }
  lumhost("browser", "install");
  const around = await open(hostile("/frame", `<iframe src="${A}/joined.html"></iframe>`));
  const reasons = [];
  while (reasons.at(-1) !== "failed" && reasons.length < 30) {
    reasons.push(await reload(around.frames()[1]));
  }
  assert.equal(reasons.at(-1), "failed");
  assert.notEqual(await reload(own), "failed");
});

test("parameters of a page that is not allowed stay in the page when they are too long", async () => {
  const page = await open(hostile("/large", `<script>document.write('<object type="application/x-lum"><param name="a" value="' +
    "x".repeat(55e6) + '"></object>')</script>`));
  await told(page, "failed");
  assert.deepEqual(await states(page), ["failed"]);
});

test("a page's own doings do not disturb its start", async () => {
  const parameters = { LumUrlRoot: slow, LumProductVersion: "7.0" };
  writePage("inner.html", {}, "", "");
  writePage("moved.html", parameters, `<iframe src="inner.html"></iframe><img name="prerendering"><img name="createElement">`);
  const page = await open(`${A}/moved.html`);
  await told(page, "asking");
  await answer(context, "#yes");
  await told(page, "downloading");
  await page.evaluate(() => frames[0].document.body.append(document.querySelector("object")));
  await told(page.frames()[1], "downloading");
  await until("one start remains", () => hosts().length === 1);
  await page.close();

  const form = `<form><input name="querySelectorAll"><input name="nodeType">${objectWith(parameters)}</form>`;
  writePage("form.html", {}, `<template>${form}</template>`, "");
  const late = await open(`${A}/form.html`);
  await late.evaluate(() => document.body.append(document.querySelector("template").content));
  await told(late, "downloading");
});

test("a page is told why, and not where the user's files are", async () => {
  const file = path.join(home, ".config/lumhost/allowed-origins");
  renameSync(file, `${file}.kept`);
  mkdirSync(file);
  const page = await open(hostile("/asks", asking(E)));
  await answer(context, "#yes");
  await page.waitForFunction(() => globalThis.heard.some(([name]) => name === "problem"));
  const shown = await popup();
  await shown.waitForFunction((name) => document.querySelector("#starts").textContent.includes(name), home);
  const told = JSON.stringify(await heard(page));
  assert.match(told, /not saved/);
  assert.ok(!told.includes(home), told);
  rmSync(file, { recursive: true });
  renameSync(`${file}.kept`, file);
});

test("no content script reads or writes the answers", async () => {
  const page = await open(hostile("/plain", "<p>"));
  const session = await context.newCDPSession(page);
  const worlds = [];
  session.on("Runtime.executionContextCreated", ({ context: world }) => worlds.push(world));
  await session.send("Runtime.enable");
  const { id } = await until("the content script", () => worlds.find(({ origin }) => origin.includes(extensionId)));
  for (const area of ["local", "session"]) {
    const expression = `chrome.storage.${area}.set({ allowed: ["${E}"] }).then(() => "done", (error) => error.message)`;
    const { result } = await session.send("Runtime.evaluate", { expression, contextId: id, awaitPromise: true });
    assert.match(result.value, /not allowed/, area);
  }
});

test("an answer of a private window ends with it", async () => {
  const shown = await popup();
  const { id } = await shown.evaluate((url) => chrome.windows.create({ url, incognito: true }), hostile("/private", asking(E)));
  await answer(context, "#yes");
  await until("it starts", () => hosts().length === 1);
  await shown.reload();
  await shown.waitForSelector(`#sites :text("allowed in private windows")`);
  assert.ok(!lumhost("allowed").includes(E));
  await shown.evaluate((number) => chrome.windows.remove(number), id);
  await until("it is forgotten", async () => {
    await shown.reload();
    await shown.waitForSelector("#starts h2");
    return !(await shown.textContent("#sites")).includes("private");
  });
});

test("a start that is asked about ends when the extension is replaced", async () => {
  const page = await open(hostile("/asks", asking(V)));
  await told(page, "asking");
  await context.serviceWorkers()[0].evaluate(() => chrome.runtime.reload()).catch(() => {});
  await told(page, "ended");
});
