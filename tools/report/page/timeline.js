/** The strip above the panels: the whole drive with the window in it, and the time axis. */
import { secondsText, timeTicks } from "./format.js";
import { contextOf, look } from "./look.js";
import { drawFirings } from "./marks.js";

const EDGE = 8; // pixels around a border of the window that take hold of it

export class Timeline {
  constructor(view, stack) {
    this.view = view;
    this.stack = stack;
    this.overview = document.getElementById("overview");
    this.axis = document.getElementById("axis");
    this.grip = null;
    this.width = 0; // until it is laid out
    view.listen(() => this.draw());
    new ResizeObserver(() => this.resize()).observe(this.overview);
    this.overview.addEventListener("pointerdown", (event) => this.down(event));
    this.overview.addEventListener("pointermove", (event) => this.move(event));
    for (const end of ["pointerup", "pointercancel"]) this.overview.addEventListener(end, () => (this.grip = null));
    this.overview.addEventListener("dblclick", () => view.showAll());
  }

  resize() {
    this.width = this.overview.clientWidth;
    this.height = this.overview.clientHeight;
    this.axisHeight = this.axis.clientHeight;
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
    const { drive } = this.view;
    const { height } = this;
    const context = contextOf(this.overview, this.width, height);
    const area = { x: 0, y: 0, w: this.width, h: height };
    const whole = { drive, from: drive.from, to: drive.to, width: Math.max(1, drive.to - drive.from) };
    const x = (time) => ((time - drive.from) / whole.width) * this.width;
    context.fillStyle = look.gap;
    for (const gap of drive.gaps) context.fillRect(x(gap.from), 0, Math.max(1, x(gap.to) - x(gap.from)), height);
    this.drawOutline(context, whole, height);
    drawFirings(context, whole, area);
    this.drawFindings(context, x, height);
    this.drawWindow(context, x, height);
  }

  /** The first curve that is shown, faintly: where in the drive one is. */
  drawOutline(context, whole, height) {
    const { drive, panels } = this.view;
    const signal = panels.map((panel) => panel[0]).find((s) => drive.signals[s].kind !== "states");
    if (signal === undefined || !this.stack.bytes) return;
    const curve = this.stack.curve(signal);
    const { min, max } = drive.signals[signal];
    const scale = (height - 8) / (max - min || 1);
    context.beginPath();
    for (const i of curve.picture(whole.from, whole.to, this.width)) {
      const y = height - 4 - (curve.values[i] - min) * scale;
      if (!Number.isNaN(y)) context.lineTo(((curve.times[i] - whole.from) / whole.width) * this.width, y);
    }
    context.strokeStyle = look.muted;
    context.globalAlpha = 0.7;
    context.stroke();
    context.globalAlpha = 1;
  }

  drawFindings(context, x, height) {
    for (const finding of this.view.drive.findings) {
      if (finding.at === null) continue;
      context.fillStyle = look[finding.severity] ?? look.note;
      context.fillRect(Math.round(x(finding.at)) - 1, height - 5, 2, 5);
    }
  }

  drawWindow(context, x, height) {
    const { view } = this;
    const x0 = x(view.from);
    const x1 = Math.max(x0 + 2, x(view.to));
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
