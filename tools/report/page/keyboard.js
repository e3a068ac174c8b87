/** The keys of the page. */
import { goToSearch, isDark } from "./keys.js";

/** What can be done, see listenToKeys(). */
export function actions(view) {
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

export const GESTURES = [
  ["drag", "zoom to what is dragged over"],
  ["wheel", "zoom; sideways or with Shift: pan"],
  ["double click", "back to the window before"],
  ["Shift + drag", "pan"],
  ["touch", "tap: cursor; one finger: pan; two: zoom"],
  ["⠿", "drag to order the panels, or arrow keys up and down"],
];
