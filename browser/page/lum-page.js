// For sites: shows how the start of a meeting goes, in every element with the attribute "data-lum-progress".
//
//     <div data-lum-progress>Getting ready</div>
//     <script src="lum-page.js"></script>
//
// Where users learn how to install what is missing, the object says: <object data-lum-install="install.html" ...>
//
// The events that it listens to are described in docs/browser.md; a page may as well draw them in its own way.
(() => {
  const kTexts = {
    connecting: "Getting ready",
    asking: "Your browser asks whether this site may start meetings",
    refused: "This site may not start meetings",
    missing: "A part is missing on this computer",
    failed: "The meeting could not be started",
    starting: "Starting",
    instructions: "Looking what is needed",
    downloading: "Downloading",
    installing: "Downloading",
    launching: "Starting the meeting",
    waiting: "Joining the meeting",
    running: "The meeting is running",
    settled: "Done",
    ended: "This start has ended",
  };
  const kPatience = 3000; // for the extension to be heard of

  // `more` is the reason, or an element.
  function show(text, { percent, seconds, more } = {}) {
    for (const place of document.querySelectorAll("[data-lum-progress]")) {
      const line = document.createElement("div");
      line.textContent = text;
      place.replaceChildren(line);
      if (more) {
        const second = document.createElement("div");
        second.append(typeof more === "string" ? more : more.cloneNode(true));
        place.append(second);
      }
      if (percent !== undefined) {
        const bar = document.createElement("progress");
        if (percent !== null) {
          bar.max = 100;
          bar.value = percent;
        }
        const left = document.createElement("div");
        left.textContent = seconds === null ? "" : seconds <= 60 ? `about ${seconds} s left` : `about ${Math.round(seconds / 60)} min left`;
        place.append(bar, left);
      }
    }
  }

  function installLink() {
    const address = document.querySelector('[type="application/x-lum"]')?.dataset.lumInstall;
    const link = document.createElement("a");
    link.textContent = "How to install it";
    link.href = address || "";
    return address ? link : null;
  }

  let heard = false;
  let reason = null; // of what comes next
  let message = null; // that was shown; it says more than the end of the start would
  let stays = false;

  function tell({ state, text, reason: why }) {
    heard = true;
    if (state === "downloading") {
      show(kTexts[state], { percent: null, seconds: null });
    } else if (state === "missing") {
      show(kTexts[state], { more: installLink() });
    } else if (state !== "installing" && !(stays && (state === "ended" || state === "settled"))) {
      show(kTexts[state] || state, { more: ["failed", "ended", "refused"].includes(state) ? text || reason || why : null });
    }
    stays = stays || state === "running" || state === "failed";
  }
  document.addEventListener("lumstate", ({ detail }) => tell(detail));
  document.addEventListener("lumprogress", ({ detail }) => {
    show(kTexts.downloading, { percent: detail.percent, seconds: detail.secondsLeft });
  });
  document.addEventListener("lumproblem", ({ detail }) => {
    reason = detail.text;
    if (message) {
      show(message, { more: reason });
    }
  });
  document.addEventListener("lummessage", ({ detail }) => {
    stays = true;
    message = detail.text;
    show(message, { more: reason });
  });

  // What was told before this script ran still stands at the object.
  const told = document.querySelector("[data-lum-state]")?.dataset.lumState;
  if (told) {
    tell({ state: told });
  }
  setTimeout(() => {
    if (!heard && document.querySelector('[type="application/x-lum"]')) {
      show("This browser does not have the extension that starts meetings", { more: installLink() });
    }
  }, kPatience);
})();
