// The starts: each one is a page instance with a lumhost of its own.
//
//   page's object --port--> here --native port--> lumhost
//
// What a page says is its object's parameters, once. Its site and its address are the browser's word, not the page's.
// Where the page is sent, it goes by itself (content.js): this never navigates, since the browser would take that for
// the user's doing.

import * as question from "./question.js";
import * as sites from "./sites.js";
import { failed, kLater, kMissing, kRefused, kTooLarge, kTooMany, withoutPaths } from "./texts.js";

const kHost = "example.kelvo.lumhost";
const kMostAtOnce = 16;
const kMostInTab = 4;
const kMostInMinute = 20; // of one site in pages of one site
const kMostBytes = 1 << 20; // of parameters; lumhost takes no more

const starts = new Map(); // by number
const recent = new Map(); // { number, time } of the last starts that have not failed, by the sites of tab and page
const watchers = new Set();
let lastNumber = 0;

export const all = () => Array.from(starts.values(), ({ number, tab, site, shown }) => ({ number, tab, site, ...shown }));
export const watch = (watcher) => watchers.add(watcher);

const isWeb = (url) => /^https?:\/\//i.test(url);
const arePairs = (list) =>
  Array.isArray(list) && list.every((pair) => Array.isArray(pair) && pair.length === 2 && pair.every((text) => typeof text === "string"));
const pick = (event, names) => Object.fromEntries(names.map((name) => [name, event[name] ?? null]));
const originOf = (url) => (url && URL.canParse(url) ? new URL(url).origin : "null");

// The page is told why, but not where this user's files are.
const forPage = (texts) =>
  texts && Object.fromEntries(Object.entries(texts).map(([name, text]) => [name, typeof text === "string" ? withoutPaths(text) : text]));

// Tells the page, the toolbar and whoever watches.
function tell(start, name, detail, more = {}) {
  if (!starts.has(start.number)) {
    return; // the page was left meanwhile
  }
  if (name === "state") {
    Object.assign(start.shown, { state: detail.state, detail, over: Boolean(more.over), hint: more.hint || null });
  } else if (name === "progress" || name === "message" || name === "problem") {
    start.shown[name] = detail;
  }
  start.port.postMessage({ name, detail: forPage(detail), ...more, hint: forPage(more.hint) });
  watchers.forEach((watcher) => watcher(start));
}

const tellState = (start, state, more = {}, rest = {}) => tell(start, "state", { state, ...rest }, more);

function end(start, state, hint, rest) {
  if (!start.shown.over) {
    tellState(start, state, { over: true, hint }, rest);
  }
  if (state === "failed" || state === "missing") {
    uncount(start);
  }
  release(start);
}

// Nothing that the page has said outlives its start.
function release(start) {
  const { caller, native } = start;
  Object.assign(start, { parameters: null, caller: null, native: null });
  if (caller) {
    question.forget(caller);
  }
  native?.disconnect();
}

const refuseTooMany = (start) => end(start, "failed", failed(kTooMany), { reason: "too-many" });
const isOpen = (start) => starts.has(start.number) && !start.shown.over;
const others = (start) => Array.from(starts.values()).filter((other) => other !== start);

// A page around this one can start this one's site in hidden frames, so each pair of them has a count of its own.
const timesOf = (start) => (recent.get(start.pair) || []).filter(({ time }) => Date.now() - time < 60_000);

function uncount(start) {
  const times = timesOf(start).filter(({ number }) => number !== start.number);
  if (times.length > 0) {
    recent.set(start.pair, times);
  } else {
    recent.delete(start.pair);
  }
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
  problem: (start, event) => tell(start, "problem", pick(event, ["text"])),
  launched: (start, event) => {
    start.launched = true;
    tell(start, "launched", { joined: Boolean(event.joined) });
    tellState(start, "running");
  },
  navigation: (start, event) => {
    if (event.url && isWeb(event.url)) {
      start.port.postMessage({ type: "go", target: event.target, url: event.url });
    }
  },
  settled: (start, event) => tellState(start, "settled", {}, pick(event, ["reason"])),
  refused: (start, event) => end(start, "failed", failed(event.text), pick(event, ["reason", "text"])),
  forbidden: (start, event) => askAgain(start, event.sites),
  exit: (start, event) => {
    if (event.status === 5) {
      end(start, "failed", failed(start.shown.problem?.text || event.reason), pick(event, ["reason"]));
    } else {
      end(start, "ended", null, pick(event, ["status", "reason", "message"]));
    }
  },
};

function launch(start, granted) {
  const times = timesOf(start);
  if (times.length >= kMostInMinute || others(start).filter(({ native }) => native).length >= kMostAtOnce) {
    refuseTooMany(start);
    return;
  }
  recent.set(start.pair, [...times, { number: start.number, time: Date.now() }]);
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
    ...(start.request.isPrivate ? { private: true } : {}),
  });
}

function askFor(start, granted, refusal) {
  tellState(start, "asking");
  start.caller = {
    answer: async (answer) => {
      start.caller = null;
      if (answer === "yes") {
        await sites.allow(start.request);
        if (isOpen(start)) {
          launch(start, granted);
        }
      } else if (answer === "no") {
        await sites.refuse(start.request, refusal);
        end(start, "refused", kRefused);
      } else {
        await sites.postpone(start.request);
        end(start, "refused", kLater);
      }
    },
  };
  question.ask(start.request, start.caller);
}

// lumhost does not know these sites: the user has taken them back there.
async function askAgain(start, unknown) {
  start.native = null;
  uncount(start);
  if (start.askedAgain) {
    end(start, "refused", kRefused);
    return;
  }
  start.askedAgain = true;
  await Promise.all(unknown.map(sites.forget));
  decide(start);
}

async function decide(start) {
  const { verdict, granted, refusal } = await sites.judge(start.request);
  if (!isOpen(start)) {
    return;
  }
  if (verdict === "allowed") {
    launch(start, granted);
  } else if (verdict === "unknown") {
    askFor(start, granted, refusal);
  } else {
    end(start, "refused", verdict === "later" ? kLater : kRefused);
  }
}

// The sites of the pages around a frame that are other ones. The tab's page is the browser's word. Those between are
// told by the frame's own script (Firefox's cannot): a frame that lies about them could as well start without a frame.
function sitesAround({ site, top, frame }, within) {
  const between = Array.isArray(within) ? within.slice(0, -1).filter((origin) => typeof origin === "string") : [];
  return frame === 0 ? [] : [...new Set([...between, top])].filter((origin) => origin !== site);
}

function begin(start, { parameters, within }) {
  start.begun = true;
  tellState(start, "connecting");
  if (JSON.stringify(parameters).length > kMostBytes) {
    end(start, "failed", failed(kTooLarge), { reason: "too-large", text: kTooLarge });
    return;
  }
  const { site, tab, isPrivate, page } = start;
  const around = sitesAround(start, within);
  if (!around.every(isWeb)) {
    end(start, "refused", null, { reason: "a page around this frame has no site of its own" });
    return;
  }
  if (others(start).filter((other) => other.tab === tab && !other.shown.over).length >= kMostInTab) {
    refuseTooMany(start);
    return;
  }
  start.parameters = parameters;
  start.request = sites.requestOf({ site, tab, isPrivate, around, top: start.top }, page, parameters);
  decide(start);
}

// A page with an object has come.
export function attend(port) {
  const { tab, url, origin: site, frameId: frame } = port.sender;
  if (!tab || !isWeb(url) || site !== originOf(url)) {
    port.postMessage({ name: "state", detail: { state: "refused", reason: "this frame has no site of its own" }, over: true });
    return;
  }
  const top = frame === 0 ? site : originOf(tab.url);
  const start = {
    number: ++lastNumber, port, tab: tab.id, isPrivate: tab.incognito, frame, site, top, pair: `${top} ${site}`, page: url,
    shown: { state: "connecting", over: false },
  };
  starts.set(start.number, start);
  port.onMessage.addListener((message) => {
    if (message.type === "start" && !start.begun && arePairs(message.parameters)) {
      begin(start, message);
    }
  });
  port.onDisconnect.addListener(() => {
    void chrome.runtime.lastError;
    starts.delete(start.number);
    release(start);
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
