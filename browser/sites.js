// What the user has answered: the sites that may start meetings, and what was refused. lumhost keeps a list of its own,
// which counts as well.
//
// The answers are names, as the toolbar's window shows them:
//
//   "https://meet.example"                          the site, with packages of its own
//   "https://meet.example in https://portal.example"  a frame of the site in a page of another one
//   "https://meet.example from others"              refused only: an allowed site's pages with packages of unknown sites
//   "17 https://meet.example"                       the question was closed in tab 17
//
// What is refused is named after the page that asked, so that no page can have another site refused. It covers whatever
// else the page may name, so that no page is asked about twice.

const kLists = { allowed: [], refused: [], later: [] };

// Answers of private windows, and questions that were left open, are forgotten when the browser ends.
const kept = chrome.storage.local;
const passing = chrome.storage.session;

// Otherwise a content script, which shares its process with a page, could write an answer. Not all versions of Firefox
// have this.
kept.setAccessLevel?.({ accessLevel: "TRUSTED_CONTEXTS" });

const areaOf = (request) => (request.isPrivate ? passing : kept);
const framesOf = ({ site, around }) => around.map((other) => `${site} in ${other}`);
const othersOf = ({ site }) => `${site} from others`;
const laterOf = ({ tab, top }) => `${tab} ${top}`;
const join = (one, other) => [...new Set([...one, ...other])].sort();
const without = (names, gone) => names.filter((name) => !gone.includes(name));

// A request is what a page asks for:
//
//   site, tab, isPrivate   the page's site and its tab; whether that is in a private window
//   around, top            the other sites that the page is in a frame of; the site of the tab's page
//   sites                  the page's, and that of its "LumUrlRoot" if it is another one
//
// Names are compared as lumhost does: first as they are, then without regard to case.
export function requestOf(place, page, parameters) {
  const named = (same) => parameters.find(([name]) => same(name));
  const root = named((name) => name === "LumUrlRoot") || named((name) => name.toLowerCase() === "lumurlroot");
  const url = root && URL.canParse(root[1], page) ? new URL(root[1], page) : null;
  const isOther = url && /^https?:$/.test(url.protocol) && url.origin !== place.site;
  return { ...place, sites: isOther ? [place.site, url.origin] : [place.site] };
}

// verdict: "allowed", "refused", "later" (it was asked, and the question closed) or "unknown"
// granted: the sites that lumhost has to be told about when the user allows the request, or has allowed it privately
// refusal: the names that stand for a refusal of this request
export async function judge(request) {
  const { site, sites, isPrivate } = request;
  const [answers, session] = await Promise.all([kept.get(kLists), passing.get(kLists)]);
  const allowed = isPrivate ? [...answers.allowed, ...session.allowed] : answers.allowed;
  const refused = isPrivate ? [...answers.refused, ...session.refused] : answers.refused;
  const frames = framesOf(request);
  const unknown = without([...sites, ...frames], allowed);
  const refusal = frames.length ? frames : [allowed.includes(site) ? othersOf(request) : site];
  const against = [site, ...frames, ...(without(sites.slice(1), allowed).length ? [othersOf(request)] : [])];
  let verdict = "unknown";
  if (unknown.length === 0) {
    verdict = "allowed";
  } else if (against.some((name) => refused.includes(name))) {
    verdict = "refused";
  } else if (session.later.includes(laterOf(request))) {
    verdict = "later";
  }
  return { verdict, granted: without(sites, answers.allowed), refusal };
}

// Answers change one after the other, so that none is lost.
let last = Promise.resolve();
function change(area, how) {
  last = last.then(async () => area.set(how(await area.get(kLists)))).catch((error) => console.error(error));
  return last;
}

export const allow = (request) =>
  change(areaOf(request), ({ allowed, refused }) => ({
    allowed: join(allowed, [...request.sites, ...framesOf(request)]),
    refused: without(refused, [...request.sites, ...framesOf(request), othersOf(request)]),
  }));

export const refuse = (request, refusal) => change(areaOf(request), ({ refused }) => ({ refused: join(refused, refusal) }));

// Not asked again in this tab, in which a page could otherwise bring up the question for as long as it likes.
export const postpone = (request) => change(passing, ({ later }) => ({ later: join(later, [laterOf(request)]) }));

const drop = (area, isGone) =>
  change(area, (lists) => Object.fromEntries(Object.entries(lists).map(([list, names]) => [list, names.filter((name) => !isGone(name))])));

// Whatever was answered about it; the next page asks again.
export const forget = (name) => Promise.all([kept, passing].map((area) => drop(area, (other) => other === name)));

// [{ name, answer }]: all answers, for people.
export async function answers() {
  const rows = (lists, answer, more = "") => lists[answer].map((name) => ({ name, answer: answer + more }));
  const [own, session] = await Promise.all([kept.get(kLists), passing.get(kLists)]);
  return [
    ...["allowed", "refused"].flatMap((list) => rows(own, list)),
    ...["allowed", "refused"].flatMap((list) => rows(session, list, " in private")),
    ...rows(session, "later"),
  ];
}

chrome.tabs.onRemoved.addListener((tab) => drop(passing, (name) => name.startsWith(`${tab} `)));

chrome.windows.onRemoved.addListener(async () => {
  if (!(await chrome.windows.getAll()).some(({ incognito }) => incognito)) {
    change(passing, () => ({ allowed: [], refused: [] }));
  }
});
