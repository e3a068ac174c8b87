/** Keeps what is shown in the page's address, so that reloading and bookmarks keep it. */

const DELAY = 250; // milliseconds: browsers limit how often a page may set its address

/** @returns the part of the address that tells the view. Names that hold separators are escaped twice. */
function addressOf(view) {
  const { drive } = view;
  const parts = [];
  if (!view.whole) parts.push(`window=${Math.round(view.from)}-${Math.round(view.to)}`);
  if (view.cursor !== null) parts.push(`cursor=${view.cursor}`);
  const panels = view.panels.map((panel) => panel.map((s) => encodeURIComponent(drive.signals[s].instance)).join("+"));
  parts.push(`curves=${panels.join(",")}`);
  if (view.fitted) parts.push("fit=1");
  if (view.theme) parts.push(`theme=${view.theme}`);
  return "#" + parts.join("&");
}

function takePanels(view, text) {
  const indexes = new Map(view.drive.signals.map((signal, index) => [signal.instance, index]));
  const known = (name) => indexes.get(decodeURIComponent(name));
  view.panels = text.split(",").map((panel) => panel.split("+").map(known).filter((s) => s !== undefined))
    .filter((panel) => panel.length);
}

/** Shows what the page's address tells, as far as it is understood. */
export function takeAddress(view) {
  const parts = new Map(location.hash.slice(1).split("&").map((part) => part.split("=", 2)));
  const window = /^(\d+)-(\d+)$/.exec(parts.get("window") ?? "");
  if (window) view.show(Number(window[1]), Number(window[2]));
  if (/^\d+$/.test(parts.get("cursor") ?? "")) view.setCursor(Number(parts.get("cursor")));
  try {
    if (parts.has("curves")) takePanels(view, parts.get("curves"));
  } catch {
    // A damaged address: the curves stay those of the first look.
  }
  view.fitted = parts.get("fit") === "1";
  view.theme = ["light", "dark"].find((theme) => theme === parts.get("theme")) ?? "";
}

/** Writes each change of the view into the address. */
export function keepAddress(view) {
  let timer = 0;
  view.listen(() => {
    clearTimeout(timer);
    timer = setTimeout(() => history.replaceState(null, "", addressOf(view)), DELAY);
  });
}
