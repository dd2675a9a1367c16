// The question, for one site after the other. Closing the window leaves it open until the next visit.

// A window that comes up under a moving mouse must not be answered by it.
const kPause = 800;

const port = chrome.runtime.connect({ name: "question" });
const element = (id) => document.getElementById(id);
let site = null;
let pause = 0;

function show(question) {
  site = question.site;
  const sites = question.sites.includes(site) ? question.sites : [site, ...question.sites];
  element("sites").replaceChildren(
    ...sites.map((name) => {
      const item = document.createElement("li");
      item.className = "site";
      item.textContent = name;
      return item;
    }),
  );
  element("second").hidden = sites.length < 2;
  element("yes").disabled = true;
  document.querySelector("main").hidden = false;
  element("no").focus();
  clearTimeout(pause);
  pause = setTimeout(() => {
    element("yes").disabled = false;
  }, kPause);
}

function answer(word) {
  document.querySelector("main").hidden = true;
  port.postMessage({ site, answer: word });
}

port.onMessage.addListener((message) => (message.close ? window.close() : show(message)));
port.onDisconnect.addListener(() => window.close());
element("yes").addEventListener("click", () => answer("yes"));
element("no").addEventListener("click", () => answer("no"));

// The browser puts an extension to sleep that hears nothing for half a minute, and people think longer than that.
setInterval(() => port.postMessage({}), 20_000);
