/** Mouse, wheel and touch over the plots. */

const CLICK = 4; // pixels that a click may move

export class Gestures {
  constructor(view, stack) {
    this.view = view;
    this.stack = stack;
    this.zone = document.getElementById("zone");
    this.fingers = new Map();
    this.dragged = null;
    const on = (event, act, options) => stack.element.addEventListener(event, act.bind(this), options);
    on("pointerdown", this.down);
    on("pointermove", this.move);
    on("pointerup", this.up);
    on("pointercancel", this.cancel);
    on("pointerleave", this.leave);
    on("wheel", this.wheel, { passive: false });
    on("dblclick", this.back);
    on("dragover", this.over);
    on("drop", this.drop);
  }

  inPlot(event) {
    return event.target.closest?.(".plot") !== null;
  }

  down(event) {
    if (!this.inPlot(event) || event.button > 1) return;
    this.fingers.set(event.pointerId, event.clientX);
    if (this.fingers.size === 2) this.startPinch();
    else if (this.fingers.size === 1) this.startDrag(event);
    if (event.pointerType === "mouse") {
      event.preventDefault();
      this.stack.element.focus({ preventScroll: true });
    }
  }

  startDrag(event) {
    const pans = event.pointerType === "touch" || event.shiftKey || event.button === 1;
    this.dragged = { x: event.clientX, from: this.view.from, to: this.view.to, pans, moved: false };
  }

  startPinch() {
    const [a, b] = [...this.fingers.values()].map((x) => this.stack.timeAt(x));
    this.pinch = [Math.min(a, b), Math.max(a, b)];
    this.dragged = null;
    this.zone.hidden = true;
  }

  move(event) {
    if (this.fingers.has(event.pointerId)) this.fingers.set(event.pointerId, event.clientX);
    if (this.pinch && this.fingers.size === 2) this.movePinch();
    else if (this.dragged) this.moveDrag(event);
    else if (event.pointerType === "mouse" && this.inPlot(event)) this.view.setCursor(this.stack.timeAt(event.clientX));
  }

  /** Keeps the times under the two fingers. */
  movePinch() {
    const { x, w } = this.stack.area();
    const left = this.stack.element.getBoundingClientRect().left + x;
    const [a, b] = [...this.fingers.values()].map((finger) => (finger - left) / w).sort((p, q) => p - q);
    const width = (this.pinch[1] - this.pinch[0]) / Math.max(0.02, b - a);
    const from = this.pinch[0] - a * width;
    this.view.show(from, from + width);
  }

  moveDrag(event) {
    const drag = this.dragged;
    if (!drag.moved && Math.abs(event.clientX - drag.x) <= CLICK) return;
    if (!drag.moved) this.stack.element.setPointerCapture(event.pointerId);
    drag.moved = true;
    if (drag.pans) {
      const shift = ((drag.x - event.clientX) / this.stack.area().w) * (drag.to - drag.from);
      this.view.show(drag.from + shift, drag.to + shift);
    } else {
      this.showZone(drag.x, event.clientX);
      this.view.setCursor(this.stack.timeAt(event.clientX));
    }
  }

  showZone(a, b) {
    const { x, w } = this.stack.area();
    const left = this.stack.element.getBoundingClientRect().left;
    const inside = (at) => Math.min(x + w, Math.max(x, at - left));
    const begin = inside(Math.min(a, b));
    this.zone.style.left = `${begin}px`;
    this.zone.style.width = `${inside(Math.max(a, b)) - begin}px`;
    this.zone.hidden = false;
  }

  up(event) {
    const drag = this.dragged;
    if (drag && !drag.moved) this.view.setCursor(this.stack.timeAt(event.clientX));
    if (drag?.moved && !drag.pans) {
      const times = [drag.x, event.clientX].map((x) => this.stack.timeAt(x)).sort((a, b) => a - b);
      this.view.go(Math.max(times[0], this.view.from), Math.min(times[1], this.view.to));
    }
    this.cancel(event);
  }

  cancel(event) {
    this.fingers.delete(event.pointerId);
    this.dragged = null;
    this.pinch = null;
    this.zone.hidden = true;
  }

  leave(event) {
    if (event.pointerType === "mouse" && !this.dragged) this.view.setCursor(null);
  }

  /** The wheel zooms, sideways it pans; out of the whole drive it scrolls the page as ever. */
  wheel(event) {
    if (!this.inPlot(event)) return;
    const sideways = Math.abs(event.deltaX) > Math.abs(event.deltaY) || event.shiftKey;
    const pixels = (sideways ? event.deltaX || event.deltaY : event.deltaY) * (event.deltaMode ? 30 : 1);
    if (this.view.whole && (sideways || pixels > 0)) return;
    event.preventDefault();
    if (sideways) this.view.pan(pixels / this.stack.area().w);
    else this.view.zoom(Math.exp(Math.min(200, Math.max(-200, pixels)) * 0.002), this.stack.timeAt(event.clientX));
  }

  back(event) {
    if (this.inPlot(event)) this.view.back();
  }

  over(event) {
    const types = event.dataTransfer.types;
    if (types.includes("text/x-panel") || types.includes("text/x-signal")) event.preventDefault();
  }

  drop(event) {
    event.preventDefault();
    const place = this.stack.panels.findIndex((panel) => panel.element.contains(event.target));
    const signal = event.dataTransfer.getData("text/x-signal");
    const panel = event.dataTransfer.getData("text/x-panel");
    if (signal) this.view.add(Number(signal), place < 0 ? undefined : place);
    else if (panel && place >= 0) this.view.movePanel(Number(panel), place);
  }
}
