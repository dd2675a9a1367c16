// The question, for one request after the other. Closing the window leaves it open.

// A question that comes up under a moving mouse, or a window that another one has covered, must not be answered by a
// click or a key that was meant for something else.
const kPause = 800;

const port = chrome.runtime.connect({ name: "question" });
const element = (id) => document.getElementById(id);
const main = document.querySelector("main");
const buttons = [element("no"), element("yes")];
let number = 0; // of the question that is shown
let pause = 0;

function list(id, sites) {
  element(id).replaceChildren(
    ...sites.map((name) => {
      const item = document.createElement("li");
      item.className = "site";
      item.textContent = name;
      return item;
    }),
  );
}

function takeNoAnswer() {
  clearTimeout(pause);
  const disable = (is) => buttons.forEach((button) => (button.disabled = is));
  disable(true);
  pause = setTimeout(disable, kPause, false);
}

function show(question) {
  number = question.number;
  list("sites", question.sites);
  list("around", question.around);
  element("second").hidden = question.sites.length < 2;
  element("frame").hidden = question.around.length === 0;
  takeNoAnswer();
  main.hidden = false;
  main.focus(); // Enter and Space are no answer unless the user goes to a button
}

function answer(word) {
  main.hidden = true;
  port.postMessage({ number, answer: word });
}

port.onMessage.addListener((message) => (message.close ? window.close() : show(message)));
port.onDisconnect.addListener(() => window.close());
element("yes").addEventListener("click", () => answer("yes"));
element("no").addEventListener("click", () => answer("no"));
window.addEventListener("focus", takeNoAnswer);
document.addEventListener("visibilitychange", takeNoAnswer);

// The browser puts an extension to sleep that hears nothing for half a minute, and people think longer than that.
setInterval(() => port.postMessage({}), 20_000);
