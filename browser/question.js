// The question whether a site may start meetings: one window at a time, for one site at a time.

const waiting = []; // { site, sites, callers: [{ answer, gone }] }; the first one is being asked
let port = null; // of the open window
let tab = null; // it has one

const current = () => waiting[0];

function show() {
  if (port && current()) {
    port.postMessage({ site: current().site, sites: current().sites });
  }
}

async function open() {
  const url = chrome.runtime.getURL("permission.html");
  try {
    const { tabs } = await chrome.windows.create({ url, type: "popup", width: 560, height: 480, focused: true });
    tab = tabs[0].id;
  } catch {
    tab = (await chrome.tabs.create({ url })).id;
  }
}

function close() {
  port?.postMessage({ close: true });
  port = null;
  tab = null;
}

// "yes", "no", or "later" when the window was closed without an answer.
function settle(answer) {
  const question = waiting.shift();
  question?.callers.forEach((caller) => caller.answer(answer));
  if (current()) {
    show();
    if (tab === null) {
      open();
    }
  } else {
    close();
  }
}

// Asks about the unknown ones of a page's sites. Pages of one site share a question. `caller` gets the answer by its
// `answer` function, unless it has gone before (see forget).
export function ask(site, sites, caller) {
  const same = waiting.find((question) => question.site === site && question.sites.join() === sites.join());
  if (same) {
    same.callers.push(caller);
    return;
  }
  waiting.push({ site, sites, callers: [caller] });
  if (waiting.length === 1) {
    open();
  }
}

// The page of this caller was left; nobody need be asked for it alone.
export function forget(caller) {
  const index = waiting.findIndex((question) => question.callers.includes(caller));
  if (index < 0) {
    return;
  }
  const question = waiting[index];
  question.callers = question.callers.filter((other) => other !== caller);
  if (question.callers.length > 0) {
    return;
  }
  if (index === 0) {
    settle("later");
  } else {
    waiting.splice(index, 1);
  }
}

// The window speaks.
export function attend(windowPort) {
  port?.postMessage({ close: true });
  port = windowPort;
  windowPort.onMessage.addListener((message) => {
    // An answer counts for the site that was on the screen.
    if (message.site === current()?.site && (message.answer === "yes" || message.answer === "no")) {
      settle(message.answer);
    }
  });
  windowPort.onDisconnect.addListener(() => {
    if (port === windowPort) {
      port = null;
    }
  });
  if (current()) {
    show();
  } else {
    close();
  }
}

chrome.tabs.onRemoved.addListener((closed) => {
  if (closed === tab) {
    tab = null;
    port = null;
    if (current()) {
      settle("later");
    }
  }
});
