/** The strip above the panels: the whole drive with the window in it, and the time axis. */
import { drawCurve } from "./drawCurve.js";
import { secondsText, timeTicks } from "./format.js";
import { contextOf, look } from "./look.js";
import { drawFirings } from "./marks.js";
import { element } from "./text.js";

const EDGE = 8; // pixels around a border of the window that take hold of it

export class Timeline {
  constructor(view, stack) {
    this.view = view;
    this.stack = stack;
    this.overview = document.getElementById("overview");
    this.axis = document.getElementById("axis");
    this.grip = null;
    this.width = 0; // until it is laid out
    this.drive = element("canvas");
    view.listen((changed) => this.update(changed));
    new ResizeObserver(() => this.resize()).observe(this.overview);
    this.overview.addEventListener("pointerdown", (event) => this.down(event));
    this.overview.addEventListener("pointermove", (event) => this.move(event));
    for (const end of ["pointerup", "pointercancel"]) this.overview.addEventListener(end, () => (this.grip = null));
    this.overview.addEventListener("dblclick", () => view.showAll());
  }

  update(changed) {
    if (changed.has("panels") || changed.has("look")) this.drawDrive();
    this.draw();
  }

  resize() {
    this.width = this.overview.clientWidth;
    this.height = this.overview.clientHeight;
    this.axisHeight = this.axis.clientHeight;
    this.drawDrive();
    this.draw();
  }

  draw() {
    if (this.width === 0) return;
    this.drawOverview();
    this.drawAxis();
    const { view } = this;
    this.overview.setAttribute("aria-valuetext", `${secondsText(view.from)} to ${secondsText(view.to)}`);
    const room = view.drive.to - view.drive.from - view.width;
    const share = room > 0 ? (view.from - view.drive.from) / room : 0;
    this.overview.setAttribute("aria-valuenow", Math.round(100 * share));
  }

  drawOverview() {
    const context = contextOf(this.overview, this.width, this.height);
    context.drawImage(this.drive, 0, 0, this.width, this.height);
    this.drawWindow(context);
  }

  /** The picture of the whole drive, which the window is drawn over. */
  drawDrive() {
    const { drive } = this.view;
    const { width, height } = this;
    if (width === 0) return;
    const context = contextOf(this.drive, width, height);
    context.fillStyle = look.gap;
    for (const gap of drive.gaps) {
      context.fillRect(this.xOf(gap.from), 0, Math.max(1, this.xOf(gap.to) - this.xOf(gap.from)), height);
    }
    this.drawOutline(context);
    const whole = { drive, from: drive.from, to: drive.to, width: Math.max(1, drive.to - drive.from) };
    drawFirings(context, whole, { x: 0, y: 0, w: width, h: height });
    this.drawFindings(context);
  }

  xOf(time) {
    const { drive } = this.view;
    return ((time - drive.from) / Math.max(1, drive.to - drive.from)) * this.width;
  }

  /** The first curve that is shown, faintly: where in the drive one is. */
  drawOutline(context) {
    const { drive, panels } = this.view;
    const signal = panels.map((panel) => panel[0]).find((s) => drive.signals[s].kind !== "states");
    if (signal === undefined || !this.stack.bytes) return;
    const { min, max, kind, factor } = drive.signals[signal];
    const up = factor < 0 ? 1 : -1;
    const scale = (up * (this.height - 8)) / (max - min || 1);
    context.strokeStyle = look.muted;
    context.lineWidth = 1;
    context.globalAlpha = 0.7;
    drawCurve(context, this.stack.curve(signal), {
      from: drive.from, to: Math.max(drive.to, drive.from + 1), x: 0, w: this.width, scale,
      zero: (up < 0 ? this.height - 4 : 4) - min * scale, steps: kind !== "line",
    });
    context.globalAlpha = 1;
  }

  drawFindings(context) {
    for (const finding of this.view.drive.findings) {
      if (finding.at === null) continue;
      context.fillStyle = look[finding.severity] ?? look.note;
      context.fillRect(Math.round(this.xOf(finding.at)) - 1, this.height - 5, 2, 5);
    }
  }

  drawWindow(context) {
    const { view, height } = this;
    const x0 = this.xOf(view.from);
    const x1 = Math.max(x0 + 2, this.xOf(view.to));
    context.fillStyle = look.surface;
    context.globalAlpha = 0.65;
    context.fillRect(0, 0, x0, height);
    context.fillRect(x1, 0, this.width - x1, height);
    context.globalAlpha = 1;
    context.strokeStyle = look.accent;
    context.lineWidth = 2;
    if (!view.whole) context.strokeRect(x0 + 1, 1, Math.max(1, x1 - x0 - 2), height - 2);
  }

  drawAxis() {
    const { from, to, width: time } = this.view;
    const context = contextOf(this.axis, this.width, this.axisHeight);
    context.font = "11px system-ui, sans-serif";
    context.fillStyle = look.muted;
    context.textBaseline = "top";
    for (const tick of timeTicks(from, to, this.width / 90)) {
      const x = ((tick.v - from) / time) * this.width;
      context.fillRect(Math.round(x), 0, 1, 4);
      const half = context.measureText(tick.label).width / 2;
      context.fillText(tick.label, Math.min(this.width - 2 * half, Math.max(0, x - half)), 6);
    }
  }

  timeAt(event) {
    const { drive } = this.view;
    const share = (event.clientX - this.overview.getBoundingClientRect().left) / this.width;
    return drive.from + share * (drive.to - drive.from);
  }

  down(event) {
    const { view } = this;
    const time = this.timeAt(event);
    const edge = (EDGE / this.width) * (view.drive.to - view.drive.from);
    if (!view.whole && Math.abs(time - view.from) < edge) this.grip = { edge: "from" };
    else if (!view.whole && Math.abs(time - view.to) < edge) this.grip = { edge: "to" };
    else this.grip = { offset: time > view.from && time < view.to ? time - (view.from + view.to) / 2 : 0 };
    this.overview.setPointerCapture(event.pointerId);
    this.move(event);
  }

  move(event) {
    if (!this.grip) return;
    const { view } = this;
    const time = this.timeAt(event);
    if (this.grip.edge === "from") view.show(Math.min(time, view.to - 20), view.to);
    else if (this.grip.edge === "to") view.show(view.from, Math.max(time, view.from + 20));
    else view.show(time - this.grip.offset - view.width / 2, time - this.grip.offset + view.width / 2);
  }
}
