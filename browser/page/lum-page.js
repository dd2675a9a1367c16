// For sites: shows how the start of a meeting goes, in every element with the attribute "data-lum-progress".
//
//     <div data-lum-progress>Getting ready</div>
//     <script src="lum-page.js"></script>
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

  function show(text, percent, seconds) {
    for (const place of document.querySelectorAll("[data-lum-progress]")) {
      const line = document.createElement("div");
      line.textContent = text;
      place.replaceChildren(line);
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

  let heard = false;
  let stays = false; // what is shown says more than the end of the start would
  document.addEventListener("lumstate", ({ detail: { state } }) => {
    heard = true;
    if (state === "downloading") {
      show(kTexts[state], null, null);
    } else if (state !== "installing" && !(stays && (state === "ended" || state === "settled"))) {
      show(kTexts[state] || state);
    }
    stays = stays || state === "running" || state === "failed";
  });
  document.addEventListener("lumprogress", ({ detail }) => {
    show(kTexts.downloading, detail.percent, detail.secondsLeft);
  });
  document.addEventListener("lummessage", ({ detail }) => {
    stays = true;
    show(detail.text);
  });

  // What was told before this script ran still stands at the object.
  const told = document.querySelector("[data-lum-state]")?.dataset.lumState;
  if (told) {
    heard = true;
    show(kTexts[told] || told);
  }
  setTimeout(() => {
    if (!heard && document.querySelector('[type="application/x-lum"]')) {
      show("This browser does not have the extension that starts meetings");
    }
  }, kPatience);
})();
