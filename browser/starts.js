// The starts: each one is a page instance with a lumhost of its own.
//
//   page's object --port--> here --native port--> lumhost
//
// What a page says is its object's parameters, once. Its site and its address are the browser's word, not the page's.

import * as question from "./question.js";
import * as sites from "./sites.js";
import { failed, kLater, kMissing, kRefused } from "./texts.js";

const kHost = "example.kelvo.lumhost";
const kMostAtOnce = 16;
const kMostInTab = 4;
const kMostInMinute = 20; // of one site

const starts = new Map(); // by number
const recent = new Map(); // times of the last starts, by site
const watchers = new Set();
let lastNumber = 0;

export const all = () => Array.from(starts.values(), ({ number, tab, site, shown }) => ({ number, tab, site, ...shown }));
export const watch = (watcher) => watchers.add(watcher);

const isWeb = (url) => /^https?:\/\//i.test(url);
const arePairs = (list) =>
  Array.isArray(list) && list.every((pair) => Array.isArray(pair) && pair.length === 2 && pair.every((text) => typeof text === "string"));
const pick = (event, names) => Object.fromEntries(names.map((name) => [name, event[name] ?? null]));

// Tells the page, the toolbar and whoever watches.
function tell(start, name, detail, more = {}) {
  if (!starts.has(start.number)) {
    return; // the page was left meanwhile
  }
  if (name === "state") {
    Object.assign(start.shown, { state: detail.state, detail, over: Boolean(more.over), hint: more.hint || null });
  } else if (name === "progress" || name === "message") {
    start.shown[name] = detail;
  }
  start.port.postMessage({ name, detail, ...more });
  watchers.forEach((watcher) => watcher(start));
}

const tellState = (start, state, more = {}, rest = {}) => tell(start, "state", { state, ...rest }, more);

function end(start, state, hint, rest) {
  if (!start.shown.over) {
    tellState(start, state, { over: true, hint }, rest);
  }
  start.native?.disconnect();
  start.native = null;
}

function tooMany(start) {
  const now = Date.now();
  const times = (recent.get(start.site) || []).filter((time) => now - time < 60_000);
  recent.set(start.site, [...times, now].slice(-kMostInMinute - 1));
  const running = Array.from(starts.values()).filter((other) => other !== start && !other.shown.over);
  return (
    times.length >= kMostInMinute ||
    running.length >= kMostAtOnce ||
    running.filter((other) => other.tab === start.tab).length >= kMostInTab
  );
}

// lumhost's events, as docs/browser.md lists them; members that the page has no use for stay here.
const kEvents = {
  hello: (start) => {
    start.greeted = true;
  },
  state: (start, event) => {
    if (!(start.launched && event.state === "launching")) { // told again when the application reports itself
      tellState(start, event.state, {}, event.name ? { name: event.name } : {});
    }
  },
  progress: (start, event) => tell(start, "progress", pick(event, ["received", "total", "percent", "secondsLeft"])),
  message: (start, event) => tell(start, "message", pick(event, ["number", "text"])),
  problem: (start, event) => {
    start.problem = event.text;
    tell(start, "problem", pick(event, ["text"]));
  },
  launched: (start, event) => {
    start.launched = true;
    tell(start, "launched", { joined: Boolean(event.joined) });
    tellState(start, "running");
  },
  navigation: (start, event) => {
    if (event.url && isWeb(event.url)) {
      start.next = event.url;
      start.port.postMessage({ type: "go", target: event.target, url: event.url });
    }
  },
  settled: (start, event) => tellState(start, "settled", {}, pick(event, ["reason"])),
  refused: (start, event) => end(start, "failed", failed(event.text), pick(event, ["reason", "text"])),
  forbidden: (start, event) => askAgain(start, event.sites),
  exit: (start, event) => {
    if (event.status === 5) {
      end(start, "failed", failed(start.problem || event.reason), pick(event, ["reason"]));
    } else {
      end(start, "ended", null, pick(event, ["status", "reason", "message"]));
    }
  },
};

function launch(start, granted) {
  const native = chrome.runtime.connectNative(kHost);
  start.native = native;
  start.greeted = false;
  native.onMessage.addListener((event) => {
    if (start.native === native && Object.hasOwn(kEvents, event.event)) {
      kEvents[event.event](start, event);
    }
  });
  native.onDisconnect.addListener(() => {
    void chrome.runtime.lastError; // looked at, or the browser complains
    if (start.native !== native) {
      return;
    }
    start.native = null;
    if (start.greeted) {
      end(start, "ended", failed("lumhost has ended unexpectedly."), { reason: "lumhost has ended unexpectedly" });
    } else {
      end(start, "missing", kMissing, { command: kMissing.command });
    }
  });
  native.postMessage({
    version: 1,
    type: "start",
    origin: start.site,
    page: start.page,
    parameters: start.parameters,
    granted,
  });
}

function askFor(start, unknown) {
  tellState(start, "asking");
  const caller = {
    answer: async (answer) => {
      start.caller = null;
      if (answer === "yes") {
        await sites.allow(unknown);
        if (starts.has(start.number)) {
          launch(start, unknown);
        }
      } else if (answer === "no") {
        await sites.refuse(start.request);
        end(start, "refused", kRefused);
      } else {
        end(start, "refused", kLater);
      }
    },
  };
  start.caller = caller;
  question.ask(start.site, unknown, caller);
}

// lumhost does not know these sites: the user has taken them back there.
async function askAgain(start, unknown) {
  start.native = null;
  if (start.askedAgain) {
    end(start, "refused", kRefused);
    return;
  }
  start.askedAgain = true;
  await Promise.all(unknown.map(sites.forget));
  if (starts.has(start.number)) {
    askFor(start, unknown);
  }
}

async function begin(start, parameters) {
  start.parameters = parameters;
  start.request = sites.requestOf(start.site, start.page, parameters);
  tellState(start, "connecting");
  if (tooMany(start)) {
    end(start, "failed", failed("This site has tried to start too many meetings. Wait a minute and load the page again."), {
      reason: "too-many",
    });
    return;
  }
  const verdict = await sites.judge(start.request);
  if (!starts.has(start.number)) {
    return;
  }
  if (verdict === "allowed") {
    launch(start, []);
  } else if (verdict === "refused") {
    end(start, "refused", kRefused);
  } else {
    askFor(start, verdict);
  }
}

// Only lumhost's address is opened, and only once.
function open(start, target) {
  const url = start.next;
  start.next = null;
  if (!url) {
    return;
  }
  if (target === "_top") {
    chrome.tabs.update(start.tab, { url });
  } else {
    chrome.tabs.create({ url, openerTabId: start.tab });
  }
}

// A page with an object has come.
export function attend(port) {
  const { tab, url } = port.sender;
  const site = port.sender.origin || new URL(url).origin;
  if (!tab || !isWeb(url) || site !== new URL(url).origin) {
    port.postMessage({ name: "state", detail: { state: "refused", reason: "this frame has no site of its own" }, over: true });
    return;
  }
  const start = { number: ++lastNumber, port, tab: tab.id, site, page: url, shown: { state: "connecting", over: false } };
  starts.set(start.number, start);
  port.onMessage.addListener((message) => {
    if (message.type === "start" && !start.parameters && arePairs(message.parameters)) {
      begin(start, message.parameters);
    } else if (message.type === "open") {
      open(start, message.target);
    }
  });
  port.onDisconnect.addListener(() => {
    void chrome.runtime.lastError;
    starts.delete(start.number);
    if (start.caller) {
      question.forget(start.caller);
    }
    start.native?.disconnect();
    start.native = null;
    watchers.forEach((watcher) => watcher(start));
  });
}

export function stop(number) {
  const start = starts.get(number);
  if (start) {
    end(start, "ended", null, { reason: "stopped by the user" });
  }
}

// { found, version }: whether lumhost can be started, by starting it.
export function findHost() {
  return new Promise((resolve) => {
    const native = chrome.runtime.connectNative(kHost);
    native.onMessage.addListener((event) => {
      resolve({ found: event.event === "hello", version: event.program || "" });
      native.disconnect();
    });
    native.onDisconnect.addListener(() => {
      void chrome.runtime.lastError;
      resolve({ found: false, version: "" });
    });
  });
}
