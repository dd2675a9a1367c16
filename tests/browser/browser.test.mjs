// The browser road from end to end: real pages, a real browser, the real lumhost and its extension.
import assert from "node:assert/strict";
import { copyFileSync, existsSync, readdirSync } from "node:fs";
import path from "node:path";
import { after, afterEach, before, test } from "node:test";

import {
  allHostsEnded, answer, endMeetings, extension, extensionId, heard, hosts, home, isQuestion, kelvo, lumhost, meetings, objectWith,
  openBrowser, question, requests, shot, site, slow, states, told, until, url, work, writePage,
} from "./support.mjs";

let context;
const kDownloadOnly = { LumDownloadOnly: "TRUE", szNextUrl: `${url}/joined.html` };

async function open(address) {
  const page = await context.newPage();
  await page.goto(address);
  return page;
}

before(async () => {
  copyFileSync(path.join(extension, "page/lum-page.js"), path.join(site, "lum-page.js"));
  writePage("joined.html", {}, "<p>You have joined.</p>", "");
  lumhost("browser", "install");
  context = await openBrowser();
});
after(() => context?.close());
afterEach(async () => {
  await Promise.all(context.pages().slice(1).map((page) => page.close()));
  await allHostsEnded();
  await endMeetings();
});

test("a page starts its meeting, once the user has allowed the site", async () => {
  writePage("meeting.html", { szFrameName: "meeting" }, '<iframe name="meeting"></iframe>');
  const page = await open(`${url}/meeting.html`);
  const asked = await question(context);
  await asked.waitForSelector("#yes:enabled");
  assert.match(await asked.textContent("#sites"), new RegExp(url));
  assert.deepEqual(hosts(), [], "nothing is started before the answer");
  await shot(asked, "permission");
  await answer(context, "#yes");
  await page.waitForFunction(() => frames.meeting.location.pathname === "/joined.html");
  await until("the application runs", () => meetings().length === 1);
  await told(page, "settled");
  await shot(page, "page");
  const badges = await context.serviceWorkers()[0].evaluate(async () => {
    const tabs = await chrome.tabs.query({});
    return Promise.all(tabs.map(({ id }) => chrome.action.getBadgeText({ tabId: id })));
  });
  assert.ok(badges.includes("✓"), `the toolbar shows ${badges}`);

  const expected = ["connecting", "asking", "starting", "instructions", "downloading", "installing", "launching", "running", "settled"];
  assert.deepEqual([...new Set((await states(page)).filter((state) => expected.includes(state)))], expected);
  const last = (await heard(page)).filter(([name]) => name === "progress").at(-1)[1];
  assert.equal(last.percent, 100);
  assert.deepEqual(Object.keys(last).sort(), ["percent", "received", "secondsLeft", "total"]);
  assert.ok((await heard(page)).some(([name, detail]) => name === "launched" && detail.pid === undefined));
  assert.ok(existsSync(path.join(kelvo, "2.4/Meeting Hall.app")));
  assert.equal(lumhost("allowed").trim(), url);
  assert.equal(hosts().length, 1, "the instance lives until its page is left");
  assert.deepEqual(context.pages().filter(isQuestion), []);

  await page.close();
  await allHostsEnded();
  assert.equal(meetings().length, 1, "the meeting goes on");
});

test("a tab that is closed in the middle ends everything", async () => {
  writePage("middle.html", { LumUrlRoot: slow, LumProductVersion: "3.0", LumProgressBarTitle: "Joining", szNextUrl: `${slow}/joined.html` });
  const page = await open(`${slow}/middle.html`);
  await answer(context, "#yes");
  await page.waitForFunction(() => globalThis.heard.some(([name, { percent }]) => name === "progress" && percent !== null));
  await shot(page, "downloading");
  const popup = await open(`chrome-extension://${extensionId}/popup.html`);
  await popup.setViewportSize({ width: 400, height: 480 });
  await popup.waitForSelector("progress[value]");
  await popup.waitForFunction(() => document.querySelector("#host").textContent.includes("is installed"));
  await shot(popup, "popup");
  await until("the one that told its version ends", () => hosts().length === 1);
  await page.close();
  await allHostsEnded();
  await popup.waitForFunction(() => document.querySelector("#starts").textContent.includes("No open page"));
  const asked = requests("slow-requests").length;
  assert.deepEqual(meetings(), []);
  assert.ok(!existsSync(path.join(kelvo, "3.0/Meeting Hall.app")));
  const cache = path.join(home, ".cache/lumhost");
  const left = (existsSync(cache) ? readdirSync(cache) : []).filter((name) => name !== "packages"); // what has arrived
  assert.deepEqual(left, [], "nothing half is left");
  assert.equal(requests("slow-requests").length, asked, "and nothing more is asked for");
});

test("a site that is not allowed starts nothing, and is not asked about again", async () => {
  const other = url.replace("127.0.0.1", "localhost");
  writePage("refused.html", { LumUrlRoot: other, ...kDownloadOnly });
  const page = await open(`${other}/refused.html`);
  await answer(context, "#no");
  await told(page, "refused");
  await page.waitForSelector("object + div");
  await shot(page, "refused");
  await page.reload();
  await told(page, "refused");
  assert.ok(!(await states(page)).includes("asking"));
  assert.deepEqual(hosts(), []);

  // The user takes the answer back, and is asked again.
  const popup = await open(`chrome-extension://${extensionId}/popup.html`);
  await popup.click(`.row:has-text("${other}") button`);
  await popup.waitForFunction((gone) => !document.querySelector("#sites").textContent.includes(gone), other);
  await page.reload();
  await (await question(context)).close();
  await told(page, "refused");
  assert.ok(!lumhost("allowed").includes(other));
});

test("an allowed page with packages of a site that is not is asked about both", async () => {
  const other = url.replace("127.0.0.1", "localhost");
  writePage("second.html", { LumUrlRoot: other, ...kDownloadOnly, szFrameName: "_self" });
  const page = await open(`${url}/second.html`);
  const asked = await question(context);
  await asked.waitForSelector("#second:visible");
  await answer(context, "#no");
  await told(page, "refused");
  assert.ok(!lumhost("allowed").includes(other));
});

test("an object that comes late starts, too, and is ended when it goes", async () => {
  const parameters = { LumUrlRoot: slow, LumProductVersion: "3.1" };
  writePage("late.html", {}, `<template>${objectWith(parameters)}</template><button>Join</button>`, "");
  const page = await open(`${slow}/late.html`);
  await page.evaluate(() => {
    document.querySelector("button").onclick = () =>
      setTimeout(() => document.body.append(document.querySelector("template").content.cloneNode(true)), 0);
  });
  assert.deepEqual(await heard(page), []);
  await page.click("button");
  await told(page, "downloading");
  assert.equal(hosts().length, 1);
  await page.evaluate(() => document.querySelector("body > object").remove());
  await allHostsEnded();
});

test("two tabs at once have a lumhost each", async () => {
  const pages = [];
  for (const [name, version] of [["one.html", "4.1"], ["two.html", "4.2"]]) {
    writePage(name, { LumUrlRoot: slow, LumProductVersion: version, ...kDownloadOnly, szFrameName: "next" }, '<iframe name="next"></iframe>');
    pages.push(await open(`${slow}/${name}`));
  }
  await Promise.all(pages.map((page) => told(page, "downloading")));
  assert.equal(hosts().length, 2);
  await pages[0].close();
  await until("one of them ends", () => hosts().length === 1);
  await pages[1].waitForFunction(() => globalThis.heard.filter(([name]) => name === "progress").length > 2);
});

test("a page is sent on, also from within a frame of its own site", async () => {
  const next = `${url}/joined.html`;
  const arrived = (page) => page.url().startsWith(next);
  for (const target of ["_self", "_top"]) {
    const name = writePage(`to${target}.html`, { szFrameName: target });
    const page = await open(`${url}/${name}`);
    await until(target, () => arrived(page));
    await page.close();
    await endMeetings();
  }
  // From within a frame.
  for (const [target, top] of [["_self", false], ["_parent", true], ["_top", true]]) {
    writePage("inner.html", { szFrameName: target });
    writePage("outer.html", {}, `<iframe src="inner.html"></iframe>`, "");
    const page = await open(`${url}/outer.html`);
    await until(`${target} of a frame`, () => page.frames().some((frame) => frame.url().startsWith(next)));
    assert.equal(arrived(page), top, target);
    await page.close();
    await endMeetings();
  }
});

test("a message reaches the page with its number, and the page shows why", async () => {
  writePage("message.html", { LumUrlRoot: `${url}/nowhere` });
  const page = await open(`${url}/message.html`);
  await page.waitForFunction(() => globalThis.heard.some(([name]) => name === "message"));
  const [, message] = (await heard(page)).find(([name]) => name === "message");
  assert.ok(message.number > 0 && message.text.length > 10, JSON.stringify(message));
  await page.waitForFunction((text) => document.querySelector("[data-lum-progress]").textContent.startsWith(text), message.text);
  await page.waitForFunction(() => document.querySelector("[data-lum-progress]").textContent.includes("status 404"));
  await shot(page, "message");
  await page.close(); // which ends the alert that is open
});

test("floods and messages that are too large are refused", async () => {
  writePage("large.html", { Large: "x".repeat(1_100_000) });
  const large = await open(`${url}/large.html`);
  await told(large, "failed");
  assert.match((await heard(large)).find(([, { state }]) => state === "failed")[1].text, /1 MB/);

  writePage("inner.html", { LumUrlRoot: slow, LumProductVersion: "5.0" });
  writePage("many.html", {}, '<iframe src="inner.html"></iframe>'.repeat(8), "");
  const many = await open(`${slow}/many.html`);
  const told8 = () => Promise.all(many.frames().slice(1).map(async (frame) => (await frame.evaluate(() => globalThis.heard?.map(([, { state }]) => state))) || []));
  await until("every frame has heard", async () => {
    const all = await told8();
    return all.length === 8 && all.every((heardStates) => heardStates.includes("starting") || heardStates.includes("failed"));
  });
  assert.equal((await told8()).filter((heardStates) => heardStates.includes("failed")).length, 4);
  assert.ok(hosts().length <= 4);
});

test("a frame without a site of its own starts nothing", async () => {
  writePage("inner.html", {});
  writePage("outer.html", {}, '<iframe src="inner.html" sandbox="allow-scripts"></iframe>', "");
  const page = await open(`${url}/outer.html`);
  await told(page.frames()[1], "refused");
  assert.deepEqual(hosts(), []);
});

test("what lumhost forbids is asked about again, also when the browser remembers it", async () => {
  lumhost("forbid", url);
  writePage("again.html", { ...kDownloadOnly, szFrameName: "_self" });
  const page = await open(`${url}/again.html`);
  await answer(context, "#yes");
  await page.waitForURL(/joined/);
  assert.match(lumhost("allowed"), new RegExp(url));
});

test("without the native part the page says what to type", async () => {
  lumhost("browser", "uninstall");
  writePage("missing.html", {}, "", objectWith({}).replace("<object", '<object data-lum-install="install.html"'));
  const page = await open(`${url}/missing.html`);
  await told(page, "missing");
  assert.equal(await page.getAttribute("[data-lum-progress] a", "href"), "install.html");
  assert.equal((await heard(page)).find(([, { state }]) => state === "missing")[1].command, "lumhost browser install");
  await page.waitForSelector("object + div");
  await shot(page, "missing");
  const popup = await open(`chrome-extension://${extensionId}/popup.html`);
  await popup.setViewportSize({ width: 400, height: 480 });
  await popup.waitForSelector("#host code");
  await shot(popup, "popup-missing");
  lumhost("browser", "install");
  await page.reload();
  await told(page, "starting");
});
