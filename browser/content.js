// Looks for the object that starts a meeting, and stands between it and the extension.
//
// On a page without such an object this does nothing at all. With one it tells the extension the object's parameters,
// which does nothing with them before the user has allowed the site. A page that is sent elsewhere, an object that is
// taken away and a closed tab end the start.
(() => {
  const kType = "application/x-lum";
  let start = null; // { element, port, over, state, hint }

  const isOurs = (element) =>
    (element.localName === "object" || element.localName === "embed") &&
    (element.getAttribute("type") || "").trim().toLowerCase() === kType;

  function findIn(node) {
    if (isOurs(node)) {
      return node;
    }
    for (const element of node.querySelectorAll("object[type], embed[type]")) {
      if (isOurs(element)) {
        return element;
      }
    }
    return null;
  }

  function parametersOf(element) {
    if (element.localName === "embed") {
      return Array.from(element.attributes, ({ name, value }) => [name, value]);
    }
    return Array.from(element.querySelectorAll("param"))
      .filter((param) => param.closest("object") === element && param.hasAttribute("name"))
      .map((param) => [param.getAttribute("name"), param.getAttribute("value") || ""]);
  }

  // The page listens on its object or on the document. False when the page wants to show it by itself.
  function dispatch(name, detail) {
    const own = typeof cloneInto === "function" ? cloneInto(detail, window) : detail;
    if (name === "state") {
      start.state = detail.state;
      start.element.setAttribute("data-lum-state", detail.state);
    }
    return start.element.dispatchEvent(new CustomEvent(`lum${name}`, { detail: own, bubbles: true, cancelable: true }));
  }

  function showHint({ title, text, command }) {
    const box = document.createElement("div");
    const root = box.attachShadow({ mode: "closed" });
    const add = (parent, name, content, style) => {
      const element = parent.appendChild(document.createElement(name));
      element.textContent = content;
      Object.assign(element.style, style);
      return element;
    };
    const frame = add(root, "div", "", {
      all: "initial", display: "block", boxSizing: "border-box", maxWidth: "36rem", margin: "1rem 0", padding: "1rem 1.25rem",
      font: "15px/1.45 system-ui, sans-serif", color: "#1c2733", background: "#f3f7fb", border: "1px solid #b8cce0",
      borderLeft: "6px solid #1f4e79", borderRadius: "6px",
    });
    frame.setAttribute("role", "status");
    add(frame, "strong", title, { display: "block", marginBottom: "0.35rem" });
    add(frame, "div", text, {});
    if (command) {
      add(frame, "code", command, {
        display: "block", marginTop: "0.6rem", padding: "0.45rem 0.7rem", font: "14px/1.4 ui-monospace, monospace",
        background: "#1c2733", color: "#ffffff", borderRadius: "4px", userSelect: "all",
      });
    }
    start.element.after(box);
    start.hint = box;
  }

  function hear(message) {
    start.hint?.remove();
    start.hint = null;
    const shown = dispatch(message.name, message.detail);
    if (shown && message.hint) {
      showHint(message.hint);
    }
    start.over = start.over || Boolean(message.over);
  }

  // Frames are found by their name here, in the page; what only the browser may do (a new tab, a page around this one
  // of another site) is asked of the extension, which knows the address.
  function go({ target, url }) {
    if (!/^https?:\/\//i.test(url)) {
      return;
    }
    if (target === "_self" || target === "" || (target === "_top" && window === window.top)) {
      window.location.assign(url);
    } else if (target === "_top" || target === "_blank" || !window.open(url, target)) {
      start.port.postMessage({ type: "open", target: target === "_top" ? "_top" : "_blank" });
    }
  }

  function connect(element, again) {
    const port = chrome.runtime.connect({ name: "page" });
    start = { element, port, over: false, state: "", hint: null };
    const own = start;
    port.onMessage.addListener((message) => {
      if (start !== own) {
        return;
      }
      if (message.type === "go") {
        go(message);
      } else {
        hear(message);
      }
    });
    port.onDisconnect.addListener(() => {
      if (start !== own || own.over) {
        return;
      }
      if (own.state === "asking" && again > 0) { // the browser has put the extension to sleep
        connect(element, again - 1);
      } else {
        hear({ name: "state", detail: { state: "ended", reason: "the extension was switched off" }, over: true });
      }
    });
    port.postMessage({ type: "start", parameters: parametersOf(element) });
  }

  function leave() {
    if (start) {
      start.hint?.remove();
      start.port.disconnect();
      start = null;
    }
  }

  function look(node) {
    const element = start || document.prerendering ? null : findIn(node);
    if (element) {
      connect(element, 3);
    }
  }

  new MutationObserver((records) => {
    if (start && (!start.element.isConnected || !isOurs(start.element))) {
      leave();
      look(document);
      return;
    }
    for (const record of records) {
      for (const node of record.type === "attributes" ? [record.target] : record.addedNodes) {
        if (node.nodeType === Node.ELEMENT_NODE) {
          look(node);
        }
      }
    }
  }).observe(document, { childList: true, subtree: true, attributes: true, attributeFilter: ["type"] });

  window.addEventListener("pagehide", leave);
  window.addEventListener("pageshow", (event) => event.persisted && look(document));
  if (document.prerendering) { // nobody is there yet
    document.addEventListener("prerenderingchange", () => look(document), { once: true });
  } else {
    look(document);
  }
})();
