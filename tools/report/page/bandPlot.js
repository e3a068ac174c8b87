/** A panel of a signal whose values have texts: a band for each state, with its text where there is room. */
import { valueText } from "./format.js";
import { LinePlot } from "./linePlot.js";
import { contextOf, look } from "./look.js";
import { drawMarks } from "./marks.js";
import { element, visible } from "./text.js";

const TOP = 6;

export class BandPlot {
  constructor(holder, view, signals, curves) {
    this.holder = holder;
    this.view = view;
    [this.signal] = signals;
    [this.curve] = curves;
    this.canvas = element("canvas");
    holder.append(this.canvas);
    this.colourOf = new Map(); // raw number to its place among the colours, in order of first sight
    for (const raw of Object.keys(this.signal.texts).map(Number).sort((a, b) => a - b)) this.place(raw);
    this.draw();
  }

  place(raw) {
    if (!this.colourOf.has(raw)) this.colourOf.set(raw, this.colourOf.size);
    return this.colourOf.get(raw);
  }

  draw() {
    const width = this.holder.clientWidth;
    const height = this.holder.clientHeight;
    const context = contextOf(this.canvas, width, height);
    const area = { x: LinePlot.axisWidth, y: 0, w: width - LinePlot.axisWidth, h: height };
    if (area.w <= 0) return;
    drawMarks(context, this.view, area);
    const { from, to, width: time } = this.view;
    for (const band of this.curve.bands(from, to, area.w)) {
      const x0 = area.x + ((band.from - from) / time) * area.w;
      const x1 = area.x + ((band.to - from) / time) * area.w;
      this.drawBand(context, band.value, x0, x1, height);
    }
  }

  drawBand(context, value, x0, x1, height) {
    if (Number.isNaN(value)) return;
    if (value === undefined) {
      this.drawSeveral(context, x0, Math.max(1, x1 - x0), height - 2 * TOP);
      return;
    }
    const colour = look.curves[this.place(value) % look.curves.length];
    context.fillStyle = colour;
    context.globalAlpha = look.dark ? 0.34 : 0.22;
    context.fillRect(x0, TOP, Math.max(1, x1 - x0), height - 2 * TOP);
    context.globalAlpha = 1;
    context.fillRect(x0, TOP, Math.min(2, Math.max(1, x1 - x0)), height - 2 * TOP);
    const text = this.signal.texts[String(value)] ?? valueText(this.signal, value);
    this.drawText(context, text, x0 + 6, x1 - 3, height / 2);
  }

  /** Stripes: what changed too fast to tell in this picture, or in this curve. */
  drawSeveral(context, x, width, height) {
    context.fillStyle = look.muted;
    context.globalAlpha = 0.35;
    context.fillRect(x, TOP, width, height);
    context.globalAlpha = 0.8;
    for (let at = Math.ceil(x / 4) * 4; at < x + width; at += 4) context.fillRect(at, TOP, 1, height);
    context.globalAlpha = 1;
  }

  drawText(context, text, x0, x1, y) {
    if (x1 - x0 < 12) return;
    context.font = "12px system-ui, sans-serif";
    context.textBaseline = "middle";
    context.fillStyle = look.ink;
    let shown = visible(text).slice(0, 80);
    if (context.measureText(shown).width > x1 - x0) {
      while (shown && context.measureText(shown + "…").width > x1 - x0) shown = shown.slice(0, -1);
      if (!shown) return;
      shown += "…";
    }
    context.fillText(shown, x0, y);
  }

  relook() {}

  resize() {
    this.draw();
  }

  destroy() {
    this.canvas.remove();
  }
}
