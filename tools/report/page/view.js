/** What the page shows: the stretch of time, the cursor, the panels. Others ask it and hear of changes. */

const LEAST_WIDTH = 20; // microseconds

export class View {
  constructor(drive) {
    this.drive = drive;
    this.from = drive.from;
    this.to = Math.max(drive.to, drive.from + LEAST_WIDTH);
    this.cursor = null;
    this.marked = null; // {from, to} of the firing or finding that was jumped to
    this.panels = firstPanels(drive);
    this.theme = "";
    this.fitted = false; // whether value axes follow what is visible
    this.earlier = []; // windows to go back to
    this.listeners = [];
    for (const condition of drive.conditions) {
      // What holds when the drive ends is drawn up to there.
      condition.lasting = condition.firings.map(({ at, until }) => ({ at, until: until ?? drive.to }));
    }
    this.changed = new Set();
  }

  /** @param listener called once a frame with the set of what has changed: window cursor panels look */
  listen(listener) {
    this.listeners.push(listener);
  }

  change(what) {
    if (this.changed.size === 0) requestAnimationFrame(() => this.tell());
    this.changed.add(what);
  }

  tell() {
    if (this.changed.size === 0) return;
    const changed = this.changed;
    this.changed = new Set();
    for (const listener of this.listeners) listener(changed);
  }

  get width() {
    return this.to - this.from;
  }

  get whole() {
    return this.from <= this.drive.from && this.to >= this.drive.to;
  }

  /** Shows from..to, moved and cut to lie in the drive. */
  show(from, to) {
    const { drive } = this;
    const all = Math.max(drive.to - drive.from, LEAST_WIDTH);
    const width = Math.min(all, Math.max(LEAST_WIDTH, to - from));
    const middle = (from + to) / 2;
    this.from = Math.min(Math.max(drive.from, middle - width / 2), drive.from + all - width);
    this.to = this.from + width;
    this.change("window");
  }

  /** As show(), and back() undoes it. */
  go(from, to) {
    this.earlier.push([this.from, this.to]);
    if (this.earlier.length > 100) this.earlier.shift();
    this.show(from, to);
  }

  back() {
    const [from, to] = this.earlier.pop() ?? [this.drive.from, this.drive.to];
    this.show(from, to);
  }

  showAll() {
    this.go(this.drive.from, this.drive.to);
  }

  /** Makes the window `factor` times as wide; the time `about` stays where it is. */
  zoom(factor, about = this.cursor ?? (this.from + this.to) / 2) {
    const at = Math.min(this.to, Math.max(this.from, about));
    const width = Math.max(LEAST_WIDTH, this.width * factor);
    const from = at - ((at - this.from) / this.width) * width;
    this.show(from, from + width);
  }

  /** @param share of the window's width, to the right if positive */
  pan(share) {
    this.show(this.from + share * this.width, this.to + share * this.width);
  }

  setCursor(time) {
    this.cursor = time === null ? null : Math.round(Math.min(this.drive.to, Math.max(this.drive.from, time)));
    this.change("cursor");
  }

  setTheme(theme) {
    this.theme = theme;
    this.change("look");
  }

  setFitted(fitted) {
    this.fitted = fitted;
    this.change("window");
  }

  /** Goes to a moment of interest with room around it, and marks it. */
  jump(at, until) {
    const end = until ?? at;
    const room = Math.max(end - at, Math.min(this.width, 10e6)) * 0.75;
    this.marked = { from: at, to: end };
    this.go(at - room, end + room);
    this.setCursor(at);
  }

  shows(signal) {
    return this.panels.some((panel) => panel.includes(signal));
  }

  /** Adds a curve: to the panel at `place` if that has the same unit, else in a panel of its own after it. */
  add(signal, place = this.panels.length) {
    if (this.shows(signal)) return;
    const panel = this.panels[place];
    if (panel && fitsInto(this.drive, signal, panel)) panel.push(signal);
    else this.panels.splice(place + 1, 0, [signal]);
    this.change("panels");
  }

  remove(signal) {
    this.panels = this.panels.map((panel) => panel.filter((s) => s !== signal)).filter((panel) => panel.length);
    this.change("panels");
  }

  movePanel(from, to) {
    const [panel] = this.panels.splice(from, 1);
    this.panels.splice(Math.min(Math.max(0, to), this.panels.length), 0, panel);
    this.change("panels");
  }

  get joined() {
    return this.panels.some((panel) => panel.length > 1);
  }

  /** Puts curves of one unit into one panel, or each into its own again. */
  setJoined(joined) {
    const signals = this.panels.flat();
    this.panels = [];
    for (const signal of signals) {
      const panel = joined && this.panels.find((p) => fitsInto(this.drive, signal, p));
      if (panel) panel.push(signal);
      else this.panels.push([signal]);
    }
    this.change("panels");
  }
}

const MOST_IN_PANEL = 8;

function fitsInto(drive, signal, panel) {
  const added = drive.signals[signal];
  const there = drive.signals[panel[0]];
  const drawn = added.kind !== "states" && there.kind !== "states";
  return drawn && added.unit !== "" && added.unit === there.unit && panel.length < MOST_IN_PANEL;
}

function firstPanels(drive) {
  const panels = [];
  drive.signals.forEach((signal, index) => {
    if (Number.isInteger(signal.panel)) (panels[signal.panel] ??= []).push(index);
  });
  return panels.filter(Boolean);
}
