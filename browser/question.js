// The question whether a site may start meetings: one window at a time, for one request at a time.

const waiting = []; // { number, name, request, callers: [{ answer }] }; the first one is being asked
let lastNumber = 0;
let port = null; // of the open window
let tab = null; // it has one

const current = () => waiting[0];

function show() {
  if (port && current()) {
    const { number, request } = current();
    port.postMessage({ number, sites: request.sites, around: request.around });
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

// Pages that request the same share a question. `caller` gets the answer by its `answer` function, unless it has gone
// before (see forget).
export function ask(request, caller) {
  const name = [request.isPrivate, ...request.sites, "in", ...request.around].join(" ");
  const same = waiting.find((question) => question.name === name);
  if (same) {
    same.callers.push(caller);
    return;
  }
  waiting.push({ number: ++lastNumber, name, request, callers: [caller] });
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
  windowPort.onMessage.addListener(({ number, answer }) => {
    // The question may have been withdrawn, and another one be first, while the answer was on its way.
    if (number === current()?.number && (answer === "yes" || answer === "no")) {
      settle(answer);
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
