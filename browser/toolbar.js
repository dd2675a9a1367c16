// The button in the toolbar, and what the window below it is told.

import * as sites from "./sites.js";
import * as starts from "./starts.js";
import { stateText } from "./texts.js";

const kBusy = "#1f4e79";
const kTrouble = "#b3261e";
const kGood = "#2e6b34";
const popups = new Set();

function badgeOf(start) {
  const { state, progress, message } = start;
  if (message || ["missing", "failed", "refused"].includes(state)) {
    return ["!", kTrouble];
  }
  if (state === "asking") {
    return ["?", kBusy];
  }
  if (["running", "waiting", "settled"].includes(state)) {
    return ["✓", kGood];
  }
  if (start.over) {
    return ["", kBusy];
  }
  const percent = state === "downloading" ? progress?.percent : null;
  return [percent === null || percent === undefined ? "…" : `${percent}%`, kBusy];
}

async function paint(tabId) {
  const own = starts.all().filter((start) => start.tab === tabId);
  const start = own.find((one) => !one.over) || own.at(-1);
  const [text, color] = start ? badgeOf(start) : ["", kBusy];
  const title = start ? `Meeting start: ${stateText(start.detail || start)}` : "Meeting start";
  try {
    await Promise.all([
      chrome.action.setBadgeText({ tabId, text }),
      chrome.action.setBadgeBackgroundColor({ tabId, color }),
      chrome.action.setTitle({ tabId, title }),
    ]);
  } catch {
    // The tab is closed.
  }
}

export async function attend(popup) {
  let open = true;
  let host = null;
  const entry = {
    inform: async () => {
      const answers = await sites.answers();
      if (open) {
        popup.postMessage({ starts: starts.all(), answers, host });
      }
    },
  };
  popups.add(entry);
  popup.onDisconnect.addListener(() => {
    open = false;
    popups.delete(entry);
  });
  popup.onMessage.addListener(async (message) => {
    if (message.type === "stop") {
      starts.stop(message.number);
    } else if (message.type === "forget") {
      await sites.forget(message.name);
      entry.inform();
    }
  });
  entry.inform();
  host = await starts.findHost();
  entry.inform();
}

starts.watch((start) => {
  paint(start.tab);
  popups.forEach((popup) => popup.inform());
});
