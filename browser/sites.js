// What the user has answered: the sites that may start meetings, and what was refused. lumhost keeps a list of its own,
// which counts as well.
//
// A request is the page's site and, when the packages come from another one, that one: what is refused is the request,
// so that a page cannot have another site refused.

const kKeys = { allowed: [], refused: [] };

const read = () => chrome.storage.local.get(kKeys);
const nameOf = (request) => request.join(" ");

// "allowed", "refused", or the sites of the request that have to be asked about.
export async function judge(request) {
  const { allowed, refused } = await read();
  if (refused.includes(nameOf(request))) {
    return "refused";
  }
  const unknown = request.filter((site) => !allowed.includes(site));
  return unknown.length === 0 ? "allowed" : unknown;
}

// Answers change one after the other, so that none is lost.
let last = Promise.resolve();
function change(how) {
  last = last.then(async () => chrome.storage.local.set(how(await read())));
  return last;
}

export const allow = (sites) =>
  change(({ allowed, refused }) => ({
    allowed: [...new Set([...allowed, ...sites])].sort(),
    refused: refused.filter((name) => !sites.includes(name)),
  }));

export const refuse = (request) =>
  change(({ allowed, refused }) => ({ allowed, refused: [...new Set([...refused, nameOf(request)])].sort() }));

// Whatever was answered about it; the next page asks again.
export const forget = (name) =>
  change(({ allowed, refused }) => ({
    allowed: allowed.filter((site) => site !== name),
    refused: refused.filter((other) => other !== name),
  }));

export const answers = read;

// The sites of a page: its own, and that of its "LumUrlRoot". A name is compared as lumhost does: first as it is, then
// without regard to case.
export function requestOf(origin, page, parameters) {
  const named = (same) => parameters.find(([name]) => same(name));
  const root = named((name) => name === "LumUrlRoot") || named((name) => name.toLowerCase() === "lumurlroot");
  if (!root || !URL.canParse(root[1], page)) {
    return [origin];
  }
  const url = new URL(root[1], page);
  return /^https?:$/.test(url.protocol) && url.origin !== origin ? [origin, url.origin] : [origin];
}
