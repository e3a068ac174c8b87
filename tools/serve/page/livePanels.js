/** The stack of panels, one for each signal that was chosen; they move on with time. */
import { BandPlot } from "../../report/page/bandPlot.js";
import { Curve } from "../../report/page/curve.js";
import { clockText, timeTicks, valueText } from "../../report/page/format.js";
import { LinePlot } from "../../report/page/linePlot.js";
import { contextOf, look } from "../../report/page/look.js";
import { element, name, visible } from "../../report/page/text.js";

const REDRAW = 50; // milliseconds between two pictures, at least

class LivePanel {
  constructor(stack, signal) {
    this.stack = stack;
    this.signal = signal;
    this.defined = stack.data.signals[signal];
    this.element = element("section", "panel");
    this.element.setAttribute("role", "group");
    this.element.setAttribute("aria-label", visible(this.defined.instance));
    this.element.classList.toggle("states", this.defined.kind === "states");
    this.read = element("output", "read");
    const close = element("button", "close", "×");
    close.setAttribute("aria-label", visible(`Close ${this.defined.instance}`));
    close.addEventListener("click", () => stack.view.remove(signal));
    const label = name(this.defined.instance, "instance");
    label.title = visible(this.defined.comment || this.defined.instance);
    const names = element("ul", "names", element("li", "", element("span", "chip"), label, this.read, close));
    this.plotHolder = element("div", "plot");
    this.element.append(element("div", "gutter", names), this.plotHolder);
  }

  draw() {
    const { view } = this.stack;
    const course = this.stack.courses.of(this.signal, view.seconds);
    this.curve = this.curveOf(course);
    if (this.plot) {
      this.plot.curves = [this.curve];
      this.plot.curve = this.curve;
      this.plot.draw();
    } else {
      const Plot = this.defined.kind === "states" ? BandPlot : LinePlot;
      this.plot = new Plot(this.plotHolder, view, [this.defined], [this.curve]);
    }
  }

  /** The last value holds up to now. */
  curveOf({ times, values }) {
    const count = times.length;
    const points = { times: new Float64Array(count + 1), values: new Float64Array(count + 1) };
    points.times.set(times);
    points.values.set(values);
    points.times[count] = Math.max(this.stack.view.to, times[count - 1] ?? 0);
    points.values[count] = count ? values[count - 1] : NaN;
    return new Curve(points);
  }

  showValue() {
    const { data, view } = this.stack;
    const atCursor = view.cursor !== null;
    const number = atCursor ? this.curve.valueAt(view.cursor) : data.numbers[this.signal];
    this.read.textContent = visible(valueText(this.defined, typeof number === "string" ? null : number));
    this.read.classList.toggle("stale", !atCursor && data.isStale(this.signal));
  }

  destroy() {
    this.plot?.destroy();
    this.element.remove();
  }
}

export class LiveStack {
  constructor(view, courses) {
    this.view = view;
    this.data = view.data;
    this.courses = courses;
    this.element = document.getElementById("stack");
    this.panels = [];
    this.drawnAt = -Infinity;
    new ResizeObserver(() => this.resize()).observe(this.element);
    this.element.addEventListener("pointermove", (event) => this.moveCursor(event.clientX));
    this.element.addEventListener("pointerleave", () => this.moveCursor(null));
  }

  /** Keeps the panels that stay, makes those that are new. */
  arrange() {
    const old = new Map(this.panels.map((panel) => [panel.signal, panel]));
    this.panels = this.view.chosen.map((signal) => old.get(signal) ?? new LivePanel(this, signal));
    const kept = new Set(this.panels);
    for (const panel of old.values()) if (!kept.has(panel)) panel.destroy();
    for (const panel of this.panels) this.element.append(panel.element);
    document.getElementById("nothing").hidden = this.panels.length > 0;
    this.drawnAt = -Infinity;
  }

  relook() {
    for (const panel of this.panels) panel.plot?.relook();
    this.drawnAt = -Infinity;
  }

  resize() {
    for (const panel of this.panels) panel.plot?.resize();
    this.drawnAt = -Infinity;
  }

  /** Draws, unless it was just drawn. */
  draw(now) {
    if (now - this.drawnAt < REDRAW) return;
    this.drawnAt = now;
    this.drawAxis();
    for (const panel of this.panels) {
      panel.draw();
      panel.showValue();
    }
    this.showCursor();
  }

  /** The times of day below the head of the stack. */
  drawAxis() {
    const canvas = document.getElementById("axis");
    const { clientWidth: width, clientHeight: height } = canvas;
    const context = contextOf(canvas, width, height);
    const { from, to } = this.view;
    context.font = "11px system-ui, sans-serif";
    context.fillStyle = look.muted;
    context.textBaseline = "middle";
    for (const { v } of timeTicks(from, to, width / 90)) {
      const x = ((v - from) / (to - from)) * width;
      const text = clockText(this.view.drive, v).slice(0, 8);
      const half = context.measureText(text).width / 2;
      context.fillText(text, Math.min(width - 2 * half, Math.max(0, x - half)), height / 2);
    }
  }

  area() {
    const plot = this.panels[0]?.plotHolder;
    if (!plot) return { x: 0, w: 0 };
    return { x: plot.offsetLeft + LinePlot.axisWidth, w: plot.clientWidth - LinePlot.axisWidth };
  }

  moveCursor(clientX) {
    const { x, w } = this.area();
    const share = clientX === null ? -1 : (clientX - this.element.getBoundingClientRect().left - x) / Math.max(1, w);
    this.cursorShare = share >= 0 && share <= 1 ? share : null;
    this.drawnAt = -Infinity;
  }

  showCursor() {
    const { view } = this;
    const share = this.cursorShare ?? null;
    view.cursor = share === null ? null : view.from + share * view.width;
    const line = document.getElementById("cursor");
    line.hidden = share === null || !this.panels.length;
    const { x, w } = this.area();
    if (!line.hidden) line.style.transform = `translateX(${x + share * w}px)`;
    const when = document.getElementById("when");
    when.textContent = view.cursor === null ? "now" : clockText(view.drive, view.cursor).slice(0, 12);
  }
}
