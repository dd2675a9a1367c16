// What people read, in the toolbar and in its window.

export const kInstall = "lumhost browser install";

export const kMissing = {
  title: "One part is still missing on this computer",
  text: "The browser cannot find lumhost, which starts the meeting. Install the package lum, then type this in a terminal " +
    "and load the page again:",
  command: kInstall,
};

export const kRefused = {
  title: "This site may not start meetings",
  text: "You have not allowed it. To be asked again, press the extension's button in the toolbar, take the answer back, " +
    "and load the page again.",
};

export const kLater = {
  title: "This site has not started the meeting",
  text: "The question whether it may was closed without an answer, and is not asked again in this tab. To be asked again, " +
    "press the extension's button in the toolbar, take the answer back, and load the page again.",
};

export const kTooLarge = "The page's parameters are longer than 1 MB.";
export const kTooMany = "This site has tried to start too many meetings. Wait a minute and load the page again.";

export const failed = (text) => ({ title: "The meeting could not be started", text });

const kStates = {
  connecting: "Getting ready",
  asking: "Waiting for your answer: may this site start meetings?",
  refused: "This site may not start meetings",
  missing: "lumhost is missing on this computer",
  failed: "The meeting could not be started",
  starting: "Starting",
  instructions: "Asking the site what is needed",
  downloading: "Downloading",
  installing: "Installing",
  launching: "Starting the application",
  waiting: "The application runs; waiting for it to join",
  running: "The application runs",
  settled: "Done",
  ended: "Ended",
};

export function stateText({ state, name, reason }) {
  const text = kStates[state] || state;
  if (state === "installing" && name) {
    return `${text} ${name}`;
  }
  return state === "ended" && reason ? `${text}: ${reason}` : text;
}

// Without the paths of files, which hold the user's name. A path may have blanks in it, so it goes on to a colon, a
// semicolon, a quotation mark or a bracket.
export const withoutPaths = (text) => text.replace(/(?<![\w/.%~-])(file:\/\/)?\/[^\s/](?:(?![:;](\s|$))[^")\n])*/g, "(a file)");

export function timeText(seconds) {
  if (seconds === null || seconds === undefined) {
    return "";
  }
  return seconds <= 60 ? `about ${seconds} s left` : `about ${Math.round(seconds / 60)} min left`;
}
