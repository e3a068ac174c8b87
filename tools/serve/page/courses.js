/** The last minutes of the signals that are shown: what the server has kept, and what has come since. */

const MOST_POINTS = 20000; // of a course; the server gives a coarser one then
const DISORDER = 1e6; // microseconds
const AT_ONCE = 16; // signals of one request
const COLUMNS = 1500;

/** The points of a signal: raw numbers, NaN where there is no value from then on. */
class Course {
  constructor(seconds) {
    this.seconds = seconds;
    this.times = [];
    this.values = [];
    this.isLoaded = false;
  }

  add(time, number) {
    const value = typeof number === "number" ? number : NaN;
    const last = this.times[this.times.length - 1];
    if (last !== undefined && time < last - DISORDER) this.times.length = this.values.length = 0; // a clock was set
    else if (last !== undefined && time <= last) return;
    this.times.push(time);
    this.values.push(value);
  }

  /** Takes over what the server has kept; what has come meanwhile stays. */
  load({ times, values }) {
    const end = times.length ? times[times.length - 1] : -Infinity;
    const from = this.times.findIndex((time) => time > end);
    const later = from < 0 ? this.times.length : from;
    this.times = [...times, ...this.times.slice(later)];
    this.values = [...values.map((value) => (typeof value === "number" ? value : NaN)), ...this.values.slice(later)];
    this.isLoaded = true;
  }
}

export class Courses {
  constructor(data) {
    this.data = data;
    this.courses = new Map();
    this.wanted = new Set();
    data.listen((event) => this.take(event));
  }

  /** @returns the course of a signal with at least the last `seconds`; it fills when the server has answered. */
  of(signal, seconds) {
    let course = this.courses.get(signal);
    if (!course || course.seconds < seconds) {
      course = new Course(seconds);
      this.courses.set(signal, course);
      this.want(signal);
    }
    return course;
  }

  /** Keeps the courses of these signals only. */
  keep(signals) {
    for (const signal of this.courses.keys()) if (!signals.has(signal)) this.courses.delete(signal);
  }

  want(signal) {
    if (this.wanted.size === 0) setTimeout(() => this.load(), 30);
    this.wanted.add(signal);
  }

  async load() {
    const wanted = [...this.wanted].filter((signal) => this.courses.has(signal));
    this.wanted.clear();
    for (let i = 0; i < wanted.length; i += AT_ONCE) await this.loadSome(wanted.slice(i, i + AT_ONCE));
  }

  async loadSome(signals) {
    const seconds = Math.max(...signals.map((signal) => this.courses.get(signal)?.seconds ?? 0));
    const names = signals.map((signal) => `signal=${encodeURIComponent(this.data.signals[signal].instance)}`);
    try {
      const answer = await fetch(`api/curves?seconds=${seconds}&columns=${COLUMNS}&${names.join("&")}`);
      if (!answer.ok) return;
      for (const curve of (await answer.json()).curves) this.courses.get(curve.signal)?.load(curve);
    } catch {
      // The connection was lost: the course begins with what comes when it is back.
    }
  }

  take(event) {
    for (const [signal, number, time] of event.values ?? []) {
      const course = this.courses.get(signal);
      if (!course) continue;
      course.add(number === null ? Math.max(event.now, time) : time, number);
      if (course.times.length > MOST_POINTS && course.isLoaded) {
        course.isLoaded = false;
        this.want(signal);
      }
      if (course.times.length > 2 * MOST_POINTS) {
        course.times.splice(0, MOST_POINTS);
        course.values.splice(0, MOST_POINTS);
      }
    }
  }
}

/** @returns pairs of least and largest value, 0 to 255, for sparkline(); null where there is no value */
export function sparkOf(course, from, to, columns) {
  const bounds = Array.from({ length: columns }, () => [Infinity, -Infinity]);
  let held = NaN;
  let column = 0;
  const note = (at, value) => {
    if (Number.isNaN(value)) return;
    bounds[at][0] = Math.min(bounds[at][0], value);
    bounds[at][1] = Math.max(bounds[at][1], value);
  };
  for (let i = 0; i < course.times.length; ++i) {
    const at = Math.min(columns - 1, Math.floor(((course.times[i] - from) / (to - from)) * columns));
    for (; column <= Math.min(at, columns - 1) && at >= 0; ++column) note(column, held);
    held = course.values[i];
    if (at >= 0) note(at, held);
  }
  for (; column < columns; ++column) note(column, held);
  const seen = bounds.filter(([least, largest]) => least <= largest);
  const low = Math.min(...seen.map(([least]) => least));
  const range = Math.max(...seen.map(([, largest]) => largest)) - low;
  const level = (value) => (range > 0 ? ((value - low) / range) * 255 : 127);
  return bounds.flatMap(([least, largest]) => (least <= largest ? [level(least), level(largest)] : [null, null]));
}
