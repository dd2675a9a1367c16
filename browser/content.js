// Looks for the object that starts a meeting, and stands between it and the extension.
//
// On a page without such an object this does nothing at all. With one it tells the extension the object's parameters,
// which does nothing with them before the user has allowed the site. A page that is sent elsewhere, an object that is
// taken away and a closed tab end the start.
(() => {
  const kType = "application/x-lum";
  const kMostBytes = 1 << 20; // of parameters; lumhost takes no more
  let start = null; // { element, port, over, state, hints, sent }

  // Elements of a page can have names that hide the properties of a form and of the document, but not the prototypes'.
  const elementsOf = (node, selector) => (node === document ? Document : Element).prototype.querySelectorAll.call(node, selector);
  const valueOf = (type, name, node) => Object.getOwnPropertyDescriptor(type.prototype, name)?.get.call(node);
  const make = (name) => Document.prototype.createElement.call(document, name);
  const isPrerendered = () => valueOf(Document, "prerendering", document);

  const isFirefox = typeof cloneInto === "function";

  const isOurs = (element) =>
    (element.localName === "object" || element.localName === "embed") &&
    (element.getAttribute("type") || "").trim().toLowerCase() === kType;

  function findIn(node) {
    if (isOurs(node)) {
      return node;
    }
    for (const element of elementsOf(node, "object[type], embed[type]")) {
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
    const own = isFirefox ? cloneInto(detail, window) : detail;
    if (name === "state") {
      start.state = detail.state;
      start.element.setAttribute("data-lum-state", detail.state);
    }
    return start.element.dispatchEvent(new CustomEvent(`lum${name}`, { detail: own, bubbles: true, cancelable: true }));
  }

  // One hint of each kind at a time, behind the object.
  function hide(kind) {
    start.hints[kind]?.remove();
    delete start.hints[kind];
  }

  function show(kind, { title, text, command, link }) {
    hide(kind);
    const box = make("div");
    const root = box.attachShadow({ mode: "closed" });
    const add = (parent, name, content, style) => {
      const element = parent.appendChild(make(name));
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
    if (link) {
      const anchor = add(frame, "a", link.text, { display: "inline-block", marginTop: "0.6rem", color: "#1f4e79", overflowWrap: "anywhere" });
      Object.assign(anchor, { href: link.url, target: link.target });
      anchor.addEventListener("click", () => hide("blocked"));
    }
    if (command) {
      add(frame, "code", command, {
        display: "block", marginTop: "0.6rem", padding: "0.45rem 0.7rem", font: "14px/1.4 ui-monospace, monospace",
        background: "#1c2733", color: "#ffffff", borderRadius: "4px", userSelect: "all",
      });
    }
    start.element.after(box);
    start.hints[kind] = box;
  }

  // Where the site says how to install lumhost: its object's attribute "data-lum-install".
  function installLink() {
    const address = start.element.getAttribute("data-lum-install");
    const url = address && URL.canParse(address, document.baseURI) ? new URL(address, document.baseURI) : null;
    return url && /^https?:$/.test(url.protocol) ? { text: `How to install it: ${url.href}`, url: url.href, target: "_blank" } : null;
  }

  function hear({ name, detail, hint, over }) {
    if (name === "state") {
      hide("state");
    }
    start.over = start.over || Boolean(over);
    const shown = dispatch(name, detail);
    if (shown && hint && start) {
      show("state", { ...hint, link: detail.state === "missing" ? installLink() : null });
    }
  }

  // Whether a frame of this name is in that window, or the window is one.
  function isWindow(around, name) {
    try {
      const found = around[name];
      if (found && found.window === found) {
        return true;
      }
    } catch { // a window of another site without such a frame
    }
    return Array.from({ length: around.length }, (_, index) => around[index]).some((frame) => isWindow(frame, name));
  }

  const isOwnSite = (around) => {
    try {
      return around.location.origin === window.location.origin;
    } catch {
      return false;
    }
  };

  // A content script may open windows when a page may not; and Firefox lets a frame navigate the page around it.
  function mayOpen(target) {
    const keyword = target.toLowerCase();
    if (navigator.userActivation.isActive) {
      return true;
    }
    if (keyword === "_top" || keyword === "_parent") {
      return !isFirefox || isOwnSite(keyword === "_top" ? window.top : window.parent);
    }
    return keyword !== "_blank" && (window.name === target || isWindow(window.top, target));
  }

  // Firefox takes what a content script calls by itself for the extension's doing, and sends SameSite=Strict cookies.
  function navigate(url, target) {
    const page = isFirefox ? window.wrappedJSObject : window;
    if (target === "" || /^_self$/i.test(target)) {
      page.location.assign(url);
      return true;
    }
    try {
      return mayOpen(target) && Boolean(page.open(url, target));
    } catch { // the page has an "open" of its own
      return false;
    }
  }

  // Whatever the page itself may do, and no more: the browser takes this for the page's own doing. So a frame cannot
  // send the pages of other sites around it anywhere, nor open a window without a click. A player's page is sent home
  // again and again until it has gone; once is enough.
  function go({ target, url }) {
    const sent = `${target} ${url}`;
    if (!/^https?:\/\//i.test(url) || start.sent === sent) {
      return;
    }
    start.sent = sent;
    if (!navigate(url, target) && dispatch("blocked", { target, url }) && start) {
      show("blocked", {
        title: "The browser has not let this page open the next one",
        text: "It may do so when you press this:",
        link: { text: url, url, target },
      });
    }
  }

  function connect(element, again) {
    start = { element, port: null, over: false, state: "", hints: {}, sent: "" };
    const own = start;
    const parameters = parametersOf(element);
    if (new TextEncoder().encode(JSON.stringify(parameters)).length > kMostBytes) {
      const text = "The page's parameters are longer than 1 MB.";
      hear({
        name: "state", detail: { state: "failed", reason: "too-large", text }, over: true,
        hint: { title: "The meeting could not be started", text },
      });
      return;
    }
    const switchedOff = () => {
      if (start === own && !own.over) {
        hear({ name: "state", detail: { state: "ended", reason: "the extension was switched off" }, over: true });
      }
    };
    try {
      start.port = chrome.runtime.connect({ name: "page" });
    } catch { // it was replaced, or removed
      switchedOff();
      return;
    }
    start.port.onMessage.addListener((message) => {
      if (start !== own) {
        return;
      }
      if (message.type === "go") {
        go(message);
      } else {
        hear(message);
      }
    });
    start.port.onDisconnect.addListener(() => {
      if (start !== own || own.over) {
        return;
      }
      if (own.state === "asking" && again > 0) { // the browser has put the extension to sleep
        connect(element, again - 1);
      } else {
        switchedOff();
      }
    });
    own.watch = setInterval(() => { // Chromium does not disconnect the ports of an extension that is replaced
      if (start !== own || own.over || !chrome.runtime?.id) {
        clearInterval(own.watch);
        switchedOff();
      }
    }, 1000);
    start.port.postMessage({ type: "start", parameters, within: Array.from(window.location.ancestorOrigins || []) });
  }

  function leave() {
    if (start) {
      Object.keys(start.hints).forEach(hide);
      start.port?.disconnect();
      start = null;
    }
  }

  function look(node) {
    const element = start || isPrerendered() ? null : findIn(node);
    if (element) {
      connect(element, 3);
    }
  }

  const isHere = (element) => element.isConnected && element.ownerDocument === document;

  new MutationObserver((records) => {
    if (start && (!isHere(start.element) || !isOurs(start.element))) {
      leave();
      look(document);
      return;
    }
    for (const record of records) {
      for (const node of record.type === "attributes" ? [record.target] : record.addedNodes) {
        if (valueOf(Node, "nodeType", node) === Node.ELEMENT_NODE) {
          look(node);
        }
      }
    }
  }).observe(document, { childList: true, subtree: true, attributes: true, attributeFilter: ["type"] });

  window.addEventListener("pagehide", leave);
  window.addEventListener("pageshow", (event) => event.persisted && look(document));
  if (isPrerendered()) { // nobody is there yet
    EventTarget.prototype.addEventListener.call(document, "prerenderingchange", () => look(document), { once: true });
  } else {
    look(document);
  }
})();
