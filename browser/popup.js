// What is going on, which sites were answered about, and whether lumhost is there.

import { kMissing, stateText, timeText } from "./texts.js";

const port = chrome.runtime.connect({ name: "popup" });
const element = (id) => document.getElementById(id);

function make(name, className, text) {
  const made = document.createElement(name);
  made.className = className;
  made.textContent = text;
  return made;
}

function button(text, message) {
  const made = make("button", "small", text);
  made.addEventListener("click", () => port.postMessage(message));
  return made;
}

function row(...parts) {
  const made = make("div", "row", "");
  made.append(...parts);
  return made;
}

function cardOf(start) {
  const card = make("div", "card", "");
  const site = make("div", "site", start.site);
  card.append(start.over ? row(site) : row(site, button("Stop", { type: "stop", number: start.number })));
  card.append(make("div", start.hint ? "trouble" : "quiet", stateText(start.detail || start)));
  if (start.message) {
    card.append(make("p", "trouble", start.message.text));
  }
  const reasons = [start.problem?.text, start.state !== "missing" && start.hint?.text]; // which is told below
  new Set(reasons.filter(Boolean)).forEach((text) => card.append(make("p", "", text)));
  if (start.state === "downloading" || (start.state === "installing" && start.progress)) {
    const bar = make("progress", "", "");
    bar.setAttribute("aria-label", "Downloaded");
    const { percent = null, secondsLeft = null } = start.progress || {};
    if (percent !== null) {
      bar.max = 100;
      bar.value = percent;
    }
    card.append(bar, make("div", "quiet", [percent === null ? "" : `${percent} %`, timeText(secondsLeft)].filter(Boolean).join(", ")));
  }
  return card;
}

function showStarts(starts) {
  const cards = starts.map(cardOf);
  element("starts").replaceChildren(
    make("h2", "", "Starts"),
    ...(cards.length ? cards : [make("div", "quiet", "No open page starts a meeting.")]),
  );
}

const kAnswers = {
  "allowed": "allowed",
  "allowed in private": "allowed in private windows",
  "refused": "not allowed",
  "refused in private": "not allowed in private windows",
  "later": "not asked again in one tab, where the question was closed",
};

// As sites.js names what was answered about.
const readable = (name) =>
  name.replace(/^\d+ /, "").replaceAll(" in ", " in a page of ").replace(/ from others$/, " with programs from other sites");

function showSites(answers) {
  const rows = answers.map(({ name, answer }) => {
    const texts = make("div", "", "");
    texts.append(make("div", "site", readable(name)), make("div", "quiet", kAnswers[answer]));
    return row(texts, button("Take back", { type: "forget", name }));
  });
  element("sites").replaceChildren(...(rows.length ? [make("h2", "", "Your answers"), ...rows] : []));
}

function showHost(host) {
  if (!host) {
    return;
  }
  const parts = host.found
    ? [make("div", "quiet", `lumhost ${host.version} is installed.`)]
    : [make("div", "trouble", kMissing.title), make("p", "", kMissing.text), make("code", "", kMissing.command)];
  element("host").className = "";
  element("host").replaceChildren(...parts);
}

port.onMessage.addListener(({ starts, answers, host }) => {
  showStarts(starts);
  showSites(answers);
  showHost(host);
});
