/** The keys of a page, the buttons that do the same, and the help that tells of them. */
import { element } from "./text.js";

export function isDark() {
  const { theme } = document.documentElement.dataset;
  return theme ? theme === "dark" : matchMedia("(prefers-color-scheme: dark)").matches;
}

export function goToSearch() {
  const search = document.getElementById("search");
  search.focus();
  search.select();
}

function fillHelp(all, gestures) {
  const names = { ArrowLeft: "←", ArrowRight: "→", Backspace: "Backspace" };
  const shown = (key) => key.split("+").map((part) => names[part] ?? part).join(" + ") || "+";
  const rows = all.map(({ keys, text }) => [keys[0] === "+" ? "+" : shown(keys[0]), text]);
  for (const [key, text] of [...rows, ...gestures]) {
    document.getElementById("keys").append(element("dt", "", element("kbd", "", key)), element("dd", "", text));
  }
}

/**
 * @param all what can be done, with the keys that do it; `id`: of the button that does, too
 * @param gestures lines of the help, [gesture, what it does]
 */
export function listenToKeys(all, gestures) {
  fillHelp(all, gestures);
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
