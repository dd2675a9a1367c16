// What the user sees in a browser, page by page, each with a screenshot.
import { copyFileSync, existsSync } from "node:fs";
import path from "node:path";

import {
  allHostsEnded, answer, extension, extensionId, heard, kelvo, lumhost, meetings, openBrowser, question, shot, site, slow, told,
  url, work, writePage,
} from "../tests/browser/support.mjs";

let failures = 0;
const headline = (text) => console.log(`\n== ${text}\n`);
const explain = (text) => console.log(`   ${text}`);
function check(what, holds) {
  console.log(`   ${holds ? "[ok]    " : "[FAILED]"} ${what}`);
  failures += holds ? 0 : 1;
}
async function picture(page, name, what) {
  await shot(page, name);
  explain(`A screenshot of ${what} is in ${path.join(work, `${name}.png`)}.`);
}

async function popup(context) {
  const page = await context.newPage();
  await page.setViewportSize({ width: 400, height: 520 });
  await page.goto(`chrome-extension://${extensionId}/popup.html`);
  await page.waitForFunction(() => !document.querySelector("#host").textContent.startsWith("Looking"));
  return page;
}

async function firstVisit(context) {
  headline("First visit, on a slow line: everything is missing");
  writePage("meeting.html", { LumUrlRoot: slow, szNextUrl: `${slow}/joined.html`, szFrameName: "meeting" }, '<iframe name="meeting"></iframe>');
  const page = await context.newPage();
  await page.goto(`${slow}/meeting.html`);
  const asked = await question(context);
  await asked.setViewportSize({ width: 560, height: 400 });
  await asked.waitForSelector("#yes:enabled");
  await picture(asked, "permission", "the question");
  await answer(context, "#yes");
  await page.waitForFunction(() => globalThis.heard.some(([name, { percent }]) => name === "progress" && percent > 25));
  await picture(page, "downloading", "the page while packages arrive");
  const button = await popup(context);
  await picture(button, "popup", "the window of the toolbar's button");
  await button.close();
  await page.bringToFront();
  await page.waitForFunction(() => frames.meeting.document.body?.innerText.includes("You have joined"));
  await told(page, "settled");
  await picture(page, "page", "the page when the meeting runs");
  check("the frame \"meeting\" was sent on", true);
  check("Meeting Hall is running", meetings().length === 1);
  check("the components are installed", existsSync(path.join(kelvo, "2.4/Meeting Hall.app")));
  check("the site is allowed", lumhost("allowed").includes(slow));
  explain(`The page has heard: ${[...new Set((await heard(page)).map(([name, { state }]) => state || name))].join(", ")}.`);
  await page.close();
  await allHostsEnded();
  check("the closed page has ended lumhost, and the meeting goes on", meetings().length === 1);
}

async function withoutLumhost(context) {
  headline("Without the native part");
  lumhost("browser", "uninstall");
  const page = await context.newPage();
  await page.goto(`${slow}/meeting.html`);
  await told(page, "missing");
  await picture(page, "missing", "the page's hint");
  const button = await popup(context);
  await picture(button, "popup-missing", "the window of the toolbar's button");
  check("the page says what to type", (await heard(page)).some(([, detail]) => detail.command === "lumhost browser install"));
}

copyFileSync(path.join(extension, "page/lum-page.js"), path.join(site, "lum-page.js"));
writePage("joined.html", {}, "<p>You have joined.</p>", "");
explain(`The site is at ${url}, and on a slow line at ${slow}.`);
const context = await openBrowser();
try {
  await firstVisit(context);
  await withoutLumhost(context);
} catch (error) {
  check(error.message, false);
}
await context.close();
await allHostsEnded();
process.exit(failures);
