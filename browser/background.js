// Who speaks with whom. Web pages cannot connect to the extension; its content script and its own pages can.

import * as question from "./question.js";
import * as starts from "./starts.js";
import * as toolbar from "./toolbar.js";

const isOwnPage = (sender) => (sender.url || "").startsWith(chrome.runtime.getURL(""));

chrome.runtime.onConnect.addListener((port) => {
  if (port.name === "page") {
    starts.attend(port);
  } else if (port.name === "question" && isOwnPage(port.sender)) {
    question.attend(port);
  } else if (port.name === "popup" && isOwnPage(port.sender)) {
    toolbar.attend(port);
  } else {
    port.disconnect();
  }
});
