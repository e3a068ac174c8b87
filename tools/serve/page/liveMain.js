/** Puts the page of live signals together. */
import { goToSearch, isDark, listenToKeys } from "../../report/page/keys.js";
import { readLook, look } from "../../report/page/look.js";
import { element, visible } from "../../report/page/text.js";
import { Conditions } from "./conditions.js";
import { Courses } from "./courses.js";
import { LiveData, loadHeader } from "./liveData.js";
import { LiveStack } from "./livePanels.js";
import { LiveTable } from "./liveTable.js";
import { LiveView } from "./liveView.js";

const FACTS_EVERY = 500; // milliseconds

function showTrouble(text) {
  const place = document.getElementById("trouble");
  place.textContent = visible(text);
  place.hidden = !text;
}

function showFacts(data) {
  const silent = data.isSilent;
  const live = data.signals.filter((_, signal) => data.hasValue(signal)).length;
  const rate = Math.round(data.rates.reduce((sum, value) => sum + value, 0));
  const parts = [
    element("span", `fact link${silent ? " lost" : ""}`, silent ? "not connected" : "connected"),
    element("span", "fact", `${live} of ${data.signals.length} signals have a value`),
    element("span", "fact", `${rate} values/s`),
  ];
  document.getElementById("facts").replaceChildren(...parts);
  document.documentElement.classList.toggle("lost-link", silent);
  showTrouble(silent ? "The connection to the program is lost; the page tries to get it back." : "");
}

function spanText(seconds) {
  return seconds < 60 ? `${seconds} s` : seconds < 3600 ? `${seconds / 60} min` : `${seconds / 3600} h`;
}

function showView(view) {
  document.documentElement.dataset.theme = view.theme;
  if (!view.theme) delete document.documentElement.dataset.theme;
  document.getElementById("theme").textContent = isDark() ? "Light" : "Dark";
  const pause = document.getElementById("pause");
  pause.textContent = view.isPaused ? "Go on" : "Pause";
  pause.setAttribute("aria-pressed", String(view.isPaused));
  document.getElementById("span").textContent = spanText(view.seconds);
  readLook();
  document.documentElement.style.setProperty("--chip", look.curves[0]);
}

function actionsOf(view) {
  return [
    { keys: [" ", "p"], text: "hold the picture still", id: "pause", act: () => view.setPaused(!view.isPaused) },
    { keys: ["+", "="], text: "a shorter time", id: "shorter", act: () => view.zoom(-1) },
    { keys: ["-", "_", "−"], text: "a longer time", id: "longer", act: () => view.zoom(1) },
    { keys: ["t"], text: "light or dark", id: "theme", act: () => view.setTheme(isDark() ? "light" : "dark") },
    { keys: ["/"], text: "search", act: goToSearch },
    { keys: ["?"], text: "this help", id: "help", act: () => document.getElementById("help-text").showModal() },
  ];
}

/** A token in the address has become a cookie: it is not to stay where others see it. */
function hideToken() {
  const address = new URL(location.href);
  if (!address.searchParams.has("token")) return;
  address.searchParams.delete("token");
  history.replaceState(null, "", address);
}

/** Draws with each picture of the browser. */
function keepDrawing(view, table, stack) {
  let factsAt = 0;
  const draw = (now) => {
    view.advance();
    if (!view.isPaused) table.draw(now);
    stack.draw(now);
    if (now - factsAt > FACTS_EVERY) {
      factsAt = now;
      showFacts(view.data);
    }
    requestAnimationFrame(draw);
  };
  requestAnimationFrame(draw);
}

/** Values are there with the first event. */
function firstEvent(data) {
  return new Promise((done) => data.listen(done));
}

async function start() {
  hideToken();
  const data = new LiveData(await loadHeader());
  const first = firstEvent(data);
  const view = new LiveView(data);
  const isTold = view.takeAddress(location.hash);
  showView(view);
  const courses = new Courses(data);
  new Conditions(view);
  data.connect();
  await first;
  if (!isTold) view.chooseFirst();
  const stack = new LiveStack(view, courses);
  const table = new LiveTable(view, courses);
  view.listen(() => {
    showView(view);
    stack.relook();
    stack.arrange();
    table.showChosen();
    history.replaceState(null, "", view.address);
  });
  listenToKeys(actionsOf(view), [["tick", "shows the curve of a signal"]]);
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => view.tell());
  stack.arrange();
  keepDrawing(view, table, stack);
  document.documentElement.dataset.ready = "";
}

start().catch((error) => showTrouble(`The page cannot show the signals: ${error.message}`));
