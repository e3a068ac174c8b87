/** The stack of panels: makes, orders and draws them, and shows the values at the cursor beside each. */
import { BandPlot } from "./bandPlot.js";
import { Curve } from "./curve.js";
import { readPoints } from "./curveData.js";
import { clockText, lengthText, secondsText, valueText } from "./format.js";
import { LinePlot } from "./linePlot.js";
import { look } from "./look.js";
import { element, name, visible } from "./text.js";

const NO_POINTS = { times: new Float64Array(), values: new Float64Array() };

function button(className, label, text, act) {
  const made = element("button", className, text);
  made.setAttribute("aria-label", visible(label));
  made.title = visible(label);
  made.addEventListener("click", act);
  return made;
}

/** A name that goes on in the next line behind its dots, if it is long. */
function breakable(text) {
  const label = name("", "instance");
  for (const part of text.split(/(?<=[._])/)) label.append(visible(part), element("wbr"));
  return label;
}

/** One panel: names and values on the left, the plot on the right. */
class Panel {
  constructor(stack, signals) {
    this.stack = stack;
    this.signals = signals;
    this.defined = signals.map((s) => stack.view.drive.signals[s]);
    this.visible = true;
    this.stale = true;
    this.element = element("section", "panel");
    this.element.setAttribute("role", "group");
    this.element.setAttribute("aria-label", visible(this.defined.map((d) => d.instance).join(", ")));
    this.plotHolder = element("div", "plot");
    this.element.append(this.gutter(), this.plotHolder);
    this.element.classList.toggle("states", this.defined[0].kind === "states");
  }

  gutter() {
    const { view } = this.stack;
    const grip = button("grip", `Move the panel of ${this.defined[0].instance}: drag, or arrow keys`, "⠿", () => {});
    grip.draggable = true;
    grip.addEventListener("dragstart", (event) => this.stack.dragPanel(event, this));
    grip.addEventListener("keydown", (event) => this.stack.moveByKey(event, this));
    this.read = this.defined.map(() => element("output", "read"));
    const list = element("ul", "names");
    this.defined.forEach((defined, k) => {
      const chip = element("span", "chip");
      chip.style.setProperty("--chip", `var(--curve-${k})`);
      const close = button("close", `Close ${defined.instance}`, "×", () => view.remove(this.signals[k]));
      const label = breakable(defined.instance);
      label.title = visible(defined.comment || defined.instance);
      list.append(element("li", "", chip, label, this.read[k], close));
    });
    return element("div", "gutter", grip, list);
  }

  makePlot() {
    const curves = this.signals.map((s) => this.stack.curve(s));
    const Plot = this.defined[0].kind === "states" ? BandPlot : LinePlot;
    this.plot = new Plot(this.plotHolder, this.stack.view, this.defined, curves);
  }

  /** Draws if the panel is on the screen; else when it gets there. */
  draw() {
    this.stale = true;
    if (!this.visible || !this.stack.bytes) return;
    this.stale = false;
    if (this.plot) this.plot.draw();
    else this.makePlot();
  }

  showValues(time) {
    this.defined.forEach((defined, k) => {
      this.read[k].textContent = visible(this.stack.valueText(this.signals[k], time));
      this.read[k].classList.toggle("last", time === null);
    });
  }

  destroy() {
    this.plot?.destroy();
    this.element.remove();
  }
}

export class Stack {
  constructor(view) {
    this.view = view;
    this.element = document.getElementById("stack");
    this.bytes = null;
    this.curves = new Map();
    this.panels = [];
    this.watch = new IntersectionObserver((entries) => entries.forEach((e) => this.see(e)), { rootMargin: "200px" });
    new ResizeObserver(() => this.resize()).observe(this.element);
    view.listen((changed) => this.update(changed));
  }

  /** The curves can be drawn from now on. */
  takeBytes(bytes) {
    this.bytes = bytes;
    this.panels.forEach((panel) => panel.draw());
    this.showValues();
  }

  /** A signal's curve, read when it is first needed. */
  curve(signal) {
    if (!this.bytes) return new Curve(NO_POINTS);
    if (!this.curves.has(signal)) {
      const { curve: place, resolution } = this.view.drive.signals[signal];
      this.curves.set(signal, new Curve(place ? readPoints(this.bytes, place) : NO_POINTS, resolution));
    }
    return this.curves.get(signal);
  }

  see(entry) {
    const panel = this.panels.find((p) => p.element === entry.target);
    if (!panel) return;
    panel.visible = entry.isIntersecting;
    if (panel.visible && panel.stale) panel.draw();
  }

  update(changed) {
    if (changed.has("panels")) this.arrange();
    if (changed.has("look")) this.panels.forEach((panel) => panel.plot?.relook());
    if (changed.has("window") || changed.has("look")) this.panels.forEach((panel) => panel.draw());
    if (changed.has("window") || changed.has("cursor") || changed.has("panels")) this.showCursor();
    if (changed.has("cursor") || changed.has("panels")) this.showValues();
  }

  /** Keeps the panels that stay, makes those that are new, in the order of the view. */
  arrange() {
    const key = (signals) => signals.join(" ");
    const old = new Map(this.panels.map((panel) => [key(panel.signals), panel]));
    this.panels = this.view.panels.map((signals) => old.get(key(signals)) ?? new Panel(this, [...signals]));
    const kept = new Set(this.panels);
    for (const panel of old.values()) if (!kept.has(panel)) panel.destroy();
    for (const panel of this.panels) {
      this.element.append(panel.element);
      this.watch.observe(panel.element);
      if (!panel.plot) panel.draw();
    }
    this.measured = null;
    document.getElementById("nothing").hidden = this.panels.length > 0;
  }

  resize() {
    this.measured = null;
    for (const panel of this.panels) if (panel.visible) panel.plot?.resize();
    this.panels.forEach((panel) => panel.draw());
    this.showCursor();
  }

  /** Makes every plot anew, also those that are not on the screen: for paper. */
  remake() {
    this.measured = null;
    for (const panel of this.panels) {
      panel.plot?.destroy();
      panel.plot = null;
      panel.visible = true;
      panel.draw();
    }
    this.showCursor();
  }

  /** @returns {x, w} of the plots within the stack, in pixels; measured once, as that costs a layout */
  area() {
    const plot = this.panels[0]?.plotHolder;
    if (!plot) return { x: 0, w: 0 };
    return (this.measured ??= { x: plot.offsetLeft + LinePlot.axisWidth, w: plot.clientWidth - LinePlot.axisWidth });
  }

  timeAt(clientX) {
    const { x, w } = this.area();
    const share = (clientX - this.element.getBoundingClientRect().left - x) / Math.max(1, w);
    return this.view.from + share * this.view.width;
  }

  showCursor() {
    const { view } = this;
    const line = document.getElementById("cursor");
    line.hidden = view.cursor === null || view.cursor < view.from || view.cursor > view.to || !this.panels.length;
    const { x, w } = this.area();
    if (!line.hidden) line.style.transform = `translateX(${x + ((view.cursor - view.from) / view.width) * w}px)`;
  }

  /** What a signal says at a time; at null, what it said last. */
  valueText(signal, time) {
    const defined = this.view.drive.signals[signal];
    if (time === null) return valueText(defined, defined.last);
    const curve = this.curve(signal);
    if (defined.kind !== "states") return valueText(defined, curve.valueAt(time));
    return curve.statesAt(time).map((raw) => valueText(defined, raw)).join(" / ");
  }

  showValues() {
    const { view } = this;
    for (const panel of this.panels) panel.showValues(view.cursor);
    const when = document.getElementById("when");
    if (view.cursor === null) when.textContent = "last values";
    else when.replaceChildren(secondsText(view.cursor), element("br"), clockText(view.drive, view.cursor));
  }

  /** What a screen reader is to say about the cursor and the window. */
  spoken() {
    const { view } = this;
    const window = `${secondsText(view.from)} to ${secondsText(view.to)}, ${lengthText(view.width)}`;
    if (view.cursor === null) return window;
    const values = this.view.panels.flat().slice(0, 12).map((s) =>
      `${view.drive.signals[s].instance} ${this.valueText(s, view.cursor)}`);
    return visible(`${secondsText(view.cursor)}: ${values.join(", ")}`);
  }

  dragPanel(event, panel) {
    event.dataTransfer.setData("text/x-panel", String(this.panels.indexOf(panel)));
    event.dataTransfer.effectAllowed = "move";
  }

  moveByKey(event, panel) {
    const step = { ArrowUp: -1, ArrowDown: 1 }[event.key];
    if (!step) return;
    event.preventDefault();
    event.stopPropagation();
    const at = this.panels.indexOf(panel);
    this.view.movePanel(at, at + step);
    this.view.tell();
    panel.element.querySelector(".grip").focus();
  }
}

/** Sets the colours of the chips beside the names to those of the curves. */
export function colourChips() {
  look.curves.forEach((colour, k) => document.documentElement.style.setProperty(`--curve-${k}`, colour));
}
