/** What the page shows: how much time, which curves. */

const SPANS = [10, 30, 60, 120, 300, 600, 1200, 3600, 7200]; // seconds
const FIRST_CURVES = 3;

export class LiveView {
  constructor(data) {
    this.data = data;
    this.seconds = 60;
    this.chosen = []; // signals that have a panel
    this.isPaused = false;
    this.cursor = null;
    this.theme = "";
    this.listeners = [];
    // What the plots of a recorded drive ask for.
    this.fitted = true;
    this.marked = null;
    this.drive = { from: -1e15, to: 1e15, startNs: data.startNs, gaps: [], conditions: [] };
    this.to = 0;
  }

  /** @param listener called when `seconds`, `chosen`, `theme` or `isPaused` have changed */
  listen(listener) {
    this.listeners.push(listener);
  }

  tell() {
    for (const listener of this.listeners) listener();
  }

  get width() {
    return this.seconds * 1e6;
  }

  get from() {
    return this.to - this.width;
  }

  /** Goes on to the present. */
  advance() {
    if (!this.isPaused) this.to = this.data.now;
  }

  /** @param step 1: a longer time, -1: a shorter one */
  zoom(step) {
    const longest = Math.max(60, this.data.history / 1e6);
    const spans = SPANS.filter((span) => span <= longest);
    const at = spans.findIndex((span) => span >= this.seconds);
    this.seconds = spans[Math.min(spans.length - 1, Math.max(0, (at < 0 ? spans.length - 1 : at) + step))];
    this.tell();
  }

  shows(signal) {
    return this.chosen.includes(signal);
  }

  add(signal) {
    if (!this.shows(signal)) this.chosen.push(signal);
    this.tell();
  }

  remove(signal) {
    this.chosen = this.chosen.filter((other) => other !== signal);
    this.tell();
  }

  setPaused(isPaused) {
    this.isPaused = isPaused;
    this.tell();
  }

  setTheme(theme) {
    this.theme = theme;
    this.tell();
  }

  /** Those that conditions use; without conditions quantities that have values. */
  chooseFirst() {
    const { data } = this;
    const used = data.conditions.flatMap((condition) => condition.signals);
    const isQuantity = ({ kind, unit }, k) => kind === "line" && unit && data.hasValue(k);
    const quantities = data.signals.flatMap((signal, k) => (isQuantity(signal, k) ? [k] : []));
    this.chosen = [...new Set(used.length ? used : quantities)].slice(0, FIRST_CURVES);
  }

  /** The part of the page's address that tells the view. */
  get address() {
    const names = this.chosen.map((signal) => encodeURIComponent(this.data.signals[signal].instance));
    return `#window=${this.seconds}&curves=${names.join(",")}${this.theme ? `&theme=${this.theme}` : ""}`;
  }

  /** Shows what the page's address tells, as far as it is understood. */
  takeAddress(text) {
    const parts = new Map(text.slice(1).split("&").map((part) => part.split("=", 2)));
    const seconds = Number(parts.get("window"));
    if (SPANS.includes(seconds)) this.seconds = seconds;
    this.theme = ["light", "dark"].find((theme) => theme === parts.get("theme")) ?? "";
    if (!parts.has("curves")) return false;
    const indexes = new Map(this.data.signals.map((signal, index) => [signal.instance, index]));
    try {
      const known = parts.get("curves").split(",").map((name) => indexes.get(decodeURIComponent(name)));
      this.chosen = known.filter((signal) => signal !== undefined);
    } catch {
      return false; // a damaged address
    }
    return true;
  }
}
