// A real browser with the extension, pages that are written on the way, and a look at the processes of this home.
import { execFileSync } from "node:child_process";
import { existsSync, readFileSync, readdirSync, readlinkSync, writeFileSync } from "node:fs";
import { createRequire } from "node:module";
import path from "node:path";
import { setTimeout as pause } from "node:timers/promises";

const { chromium } = createRequire(path.join(process.env.LUM_NODE, "from-here.js"))("playwright-core");

export const { LUM_BUILD: build, LUM_WORK: work, LUM_SITE: site, LUM_URL: url, LUM_SLOW: slow } = process.env;
export const home = process.env.HOME;
export const extension = path.join(build, "browser-extension");
export const kelvo = path.join(home, "GNUstep/Library/ApplicationSupport/Kelvo Folder");
const kPatience = Number(process.env.LUM_PATIENCE || 120_000); // for anything; a shared machine may be slow

export const lumhost = (...words) => execFileSync(path.join(build, "host/lumhost"), words, { encoding: "utf8" });

// Waits until it is so; the last error or value tells what it waited for.
export async function until(what, condition) {
  const end = Date.now() + kPatience;
  for (;;) {
    const value = await condition();
    if (value) {
      return value;
    }
    if (Date.now() > end) {
      throw new Error(`waited in vain: ${what}`);
    }
    await pause(50);
  }
}

export async function openBrowser() {
  const context = await chromium.launchPersistentContext(path.join(home, ".config/chromium"), {
    executablePath: "/usr/bin/chromium",
    headless: false, // the argument below is the whole browser without a window; the other kind knows no extensions
    args: ["--headless=new", "--no-sandbox", "--disable-background-networking", `--load-extension=${extension}`],
    ignoreDefaultArgs: ["--disable-extensions", "--disable-popup-blocking"],
    viewport: { width: 960, height: 640 },
    timeout: kPatience,
  });
  context.setDefaultTimeout(kPatience);
  return context;
}

export const extensionId = "bmlpmeekaenhdnpibllcmgkpcojmiegl";
export const isQuestion = (page) => page.url() === `chrome-extension://${extensionId}/permission.html`;

export const question = (context) => until("the question", () => context.pages().find(isQuestion));
export async function answer(context, button) {
  const page = await question(context);
  await Promise.all([page.waitForEvent("close"), page.click(button)]);
}

const escape = (text) => text.replace(/&/g, "&amp;").replace(/"/g, "&quot;").replace(/</g, "&lt;");

export function objectWith(parameters) {
  const own = Object.fromEntries(
    Array.from(readFileSync(path.join(site, "index.html"), "utf8").matchAll(/<param name="([^"]*)" value="([^"]*)">/g), ([, name, value]) => [
      name,
      value.replace(/&quot;/g, '"').replace(/&lt;/g, "<").replace(/&gt;/g, ">").replace(/&amp;/g, "&"),
    ]),
  );
  const lines = Object.entries({ ...own, ...parameters }).filter(([, value]) => value !== null);
  return `<object type="application/x-lum" width="1" height="1">${lines
    .map(([name, value]) => `<param name="${name}" value="${escape(value)}">`)
    .join("\n")}</object>`;
}

// Writes a page that takes down what the extension tells, in `heard`.
export function writePage(name, parameters, more = "", object = objectWith(parameters)) {
  writeFileSync(
    path.join(site, name),
    `<!DOCTYPE html><html lang="en"><meta charset="utf-8"><title>Quarterly review</title>
<style>body { font: 16px/1.5 system-ui, sans-serif; margin: 2rem; max-width: 44rem } iframe { width: 100%; height: 11rem; border: 1px solid #c9d6e2 }</style>
<script>var heard = []; for (const name of ["state", "progress", "message", "problem", "launched", "blocked"])
document.addEventListener("lum" + name, (event) => heard.push([name, event.detail]));</script>
<h1>Quarterly review</h1>
<div data-lum-progress></div>
${object}${more}
<script src="lum-page.js"></script>`,
  );
  return name;
}

export const heard = (page) => page.evaluate(() => globalThis.heard);
export const states = async (page) => (await heard(page)).filter(([name]) => name === "state").map(([, { state }]) => state);
export const told = (page, state) => page.waitForFunction((wanted) => globalThis.heard?.some(([, { state }]) => state === wanted), state);

// The processes of this home that run this program.
export function processes(program) {
  return readdirSync("/proc")
    .filter((name) => /^\d+$/.test(name))
    .filter((pid) => {
      try {
        return (
          path.basename(readlinkSync(`/proc/${pid}/exe`)) === program &&
          readFileSync(`/proc/${pid}/environ`, "latin1").split("\0").includes(`HOME=${home}`)
        );
      } catch {
        return false; // ended meanwhile
      }
    })
    .map(Number);
}

export const hosts = () => processes("lumhost");
export const allHostsEnded = () => until("lumhost ends", () => hosts().length === 0);
export const meetings = () => processes("Meeting Hall");
export async function endMeetings() {
  meetings().forEach((pid) => process.kill(pid));
  await until("the meeting ends", () => meetings().length === 0);
}

export const requests = (file) => (existsSync(path.join(work, file)) ? readFileSync(path.join(work, file), "utf8").split("\n") : []);
export const shot = (page, name) => page.screenshot({ path: path.join(process.env.LUM_SCREENSHOTS, `${name}.png`) });
