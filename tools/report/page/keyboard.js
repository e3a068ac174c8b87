/** The keys of the page, and the buttons that do the same. */
import { element } from "./text.js";

/** What can be done, with the keys that do it; `id`: of the button that does, too. */
function actions(view) {
  const step = (share) => () => view.setCursor((view.cursor ?? (view.from + view.to) / 2) + share * view.width);
  return [
    { keys: ["+", "="], text: "zoom in", id: "zoom-in", act: () => view.zoom(0.5) },
    { keys: ["-", "_", "−"], text: "zoom out", id: "zoom-out", act: () => view.zoom(2) },
    { keys: ["ArrowLeft"], text: "to the left", act: () => view.pan(-0.2) },
    { keys: ["ArrowRight"], text: "to the right", act: () => view.pan(0.2) },
    { keys: ["Shift+ArrowLeft"], text: "cursor to the left", act: step(-0.01) },
    { keys: ["Shift+ArrowRight"], text: "cursor to the right", act: step(0.01) },
    { keys: ["Home"], text: "start of the drive", act: () => view.show(view.drive.from, view.drive.from + view.width) },
    { keys: ["End"], text: "end of the drive", act: () => view.show(view.drive.to - view.width, view.drive.to) },
    { keys: ["0"], text: "the whole drive", id: "zoom-all", act: () => view.showAll() },
    { keys: ["Backspace"], text: "back to the window before", id: "zoom-back", act: () => view.back() },
    { keys: ["u"], text: "curves of one unit in one panel", id: "join", act: () => view.setJoined(!view.joined) },
    { keys: ["y"], text: "value axes follow what is visible", id: "fit", act: () => view.setFitted(!view.fitted) },
    { keys: ["t"], text: "light or dark", id: "theme", act: () => view.setTheme(isDark() ? "light" : "dark") },
    { keys: ["/"], text: "search", act: goToSearch },
    { keys: ["?"], text: "this help", id: "help", act: () => document.getElementById("help-text").showModal() },
  ];
}

const GESTURES = [
  ["drag", "zoom to what is dragged over"],
  ["wheel", "zoom; sideways or with Shift: pan"],
  ["double click", "back to the window before"],
  ["Shift + drag", "pan"],
  ["touch", "tap: cursor; one finger: pan; two: zoom"],
  ["⠿", "drag to order the panels, or arrow keys up and down"],
];

export function isDark() {
  const { theme } = document.documentElement.dataset;
  return theme ? theme === "dark" : matchMedia("(prefers-color-scheme: dark)").matches;
}

function goToSearch() {
  const search = document.getElementById("search");
  search.focus();
  search.select();
}

function fillHelp(all) {
  const names = { ArrowLeft: "←", ArrowRight: "→", Backspace: "Backspace" };
  const shown = (key) => key.split("+").map((part) => names[part] ?? part).join(" + ") || "+";
  const rows = all.map(({ keys, text }) => [keys[0] === "+" ? "+" : shown(keys[0]), text]);
  for (const [key, text] of [...rows, ...GESTURES]) {
    document.getElementById("keys").append(element("dt", "", element("kbd", "", key)), element("dd", "", text));
  }
}

export function listenToKeys(view) {
  const all = actions(view);
  fillHelp(all);
  const byKey = new Map(all.flatMap((action) => action.keys.map((key) => [key, action])));
  for (const { id, act } of all) if (id) document.getElementById(id).addEventListener("click", act);
  document.addEventListener("keydown", (event) => {
    if (event.ctrlKey || event.altKey || event.metaKey || document.querySelector("dialog[open]")) return;
    if (event.target.closest("input")) {
      if (event.key === "Escape") event.target.blur();
      return;
    }
    const moves = event.shiftKey && event.key.startsWith("Arrow");
    const action = byKey.get((moves ? "Shift+" : "") + event.key);
    if (!action || (event.target.id === "table" && /^(Home|End)$/.test(event.key))) return;
    event.preventDefault();
    action.act();
  });
}
