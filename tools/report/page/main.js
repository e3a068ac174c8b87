/** Puts the page together. */
import { keepAddress, takeAddress } from "./address.js";
import { readCurveBytes, readHeader } from "./curveData.js";
import { Events } from "./events.js";
import { clockText, lengthText, numberText } from "./format.js";
import { Gestures } from "./gestures.js";
import { GESTURES, actions } from "./keyboard.js";
import { isDark, listenToKeys } from "./keys.js";
import { readLook } from "./look.js";
import { colourChips, Stack } from "./panels.js";
import { Table } from "./table.js";
import { element, name, visible } from "./text.js";
import { Timeline } from "./timeline.js";
import { View } from "./view.js";

function showTrouble(error) {
  const place = document.getElementById("trouble");
  place.textContent = visible(`The page cannot show its curves: ${error.message}`);
  place.hidden = false;
}

function showFacts(drive) {
  document.title = visible(drive.title);
  document.getElementById("title").append(name(drive.title));
  const grouped = String(drive.frames).replace(/\B(?=(\d{3})+$)/g, "\u202f");
  const start = clockText(drive, drive.from, true).slice(0, 19);
  const facts = [start, lengthText(drive.to - drive.from), `${grouped} frames`];
  const parts = facts.filter(Boolean).map((fact) => [element("span", "", fact)]);
  if (drive.definitions.length) parts.push(drive.definitions.flatMap((file, k) => [k ? ", " : "", name(file)]));
  parts.push([drive.program]);
  document.getElementById("facts").append(...parts.map((part) => element("span", "fact", ...part)));
}

/** Sets theme and pressed buttons as the view has them. */
function showLook(view) {
  document.documentElement.dataset.theme = view.theme;
  if (!view.theme) delete document.documentElement.dataset.theme;
  document.getElementById("theme").textContent = isDark() ? "Light" : "Dark";
  readLook();
  colourChips();
}

function showButtons(view) {
  document.getElementById("join").setAttribute("aria-pressed", String(view.joined));
  document.getElementById("fit").setAttribute("aria-pressed", String(view.fitted));
  document.getElementById("zoom-all").disabled = view.whole;
}

/** Speaks of the cursor once it rests. */
function speak(view, stack) {
  const place = document.getElementById("spoken");
  let timer = 0;
  view.listen(() => {
    clearTimeout(timer);
    timer = setTimeout(() => (place.textContent = stack.spoken()), 600);
  });
}

/** On paper all panels are drawn, as wide as the paper, in the light theme. */
function preparePrinting(view, stack, timeline) {
  let { theme } = view;
  const set = (onPaper, nextTheme) => {
    document.documentElement.toggleAttribute("data-paper", onPaper);
    view.setTheme(nextTheme);
    view.tell();
    timeline.resize();
    stack.remake();
  };
  addEventListener("beforeprint", () => {
    ({ theme } = view);
    set(true, "light");
  });
  addEventListener("afterprint", () => set(false, theme));
}

async function start() {
  const drive = readHeader();
  showFacts(drive);
  const view = new View(drive);
  takeAddress(view);
  showLook(view);
  view.listen((changed) => changed.has("look") && showLook(view));
  const stack = new Stack(view);
  const timeline = new Timeline(view, stack);
  new Gestures(view, stack);
  new Events(view);
  new Table(view);
  listenToKeys(actions(view), GESTURES);
  view.listen(() => showButtons(view));
  keepAddress(view);
  speak(view, stack);
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => view.change("look"));
  preparePrinting(view, stack, timeline);
  view.change("panels");
  view.tell();
  stack.takeBytes(await readCurveBytes());
  timeline.resize();
  document.documentElement.dataset.ready = "";
}

start().catch(showTrouble);
