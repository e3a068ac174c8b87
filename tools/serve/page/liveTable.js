/** The table of all signals with their values. */
import { lengthText, physical, valueText } from "../../report/page/format.js";
import { RowTable, rowsOf } from "../../report/page/rowTable.js";
import { sparkline } from "../../report/page/sparkline.js";
import { element, name, visible } from "../../report/page/text.js";
import { sparkOf } from "./courses.js";

const FRESH = 400; // milliseconds for which a change is marked
const SPARK_SECONDS = 60;
const SPARK_COLUMNS = 32;
const SPARK_EVERY = 1000; // milliseconds
const AGES_EVERY = 200; // milliseconds
const SORT_EVERY = 1000; // milliseconds

const MISSING = { missing: "missing", removed: "removed", refused: "not usable", "no value": "no value", held: "–" };

/** @returns an age in few digits, which do not flicker */
function ageText(micros) {
  if (micros < 1e6) return "< 1 s";
  if (micros < 60e6) return `${Math.floor(micros / 1e6)} s`;
  return lengthText(Math.floor(micros / 60e6) * 60e6).replace(" 0 s", "");
}

function rateText(rate) {
  return rate > 0 ? `${rate < 10 ? rate.toFixed(1) : Math.round(rate)} /s` : "";
}

function columns(table) {
  const { data } = table;
  const order = (signal) => {
    const number = data.hasValue(signal) ? data.numbers[signal] : null;
    return typeof number === "number" ? physical(data.signals[signal], number) : -Infinity;
  };
  return [
    ["", "toggle", (row) => table.toggle(row)],
    ["Signal", "name", (row) => name(row.of.instance), (row) => row.of.instance],
    ["Last minute", "picture", () => sparkline([])],
    ["Value", "current", () => "", (row) => order(row.index), "live"],
    ["Unit", "unit", (row) => name(row.of.unit), (row) => row.of.unit],
    ["Age", "age", () => "", (row) => (data.hasValue(row.index) ? data.age(row.index) : Infinity), "live"],
    ["Rate", "rate", () => "", (row) => data.rates[row.index], "live"],
    ["Message", "message", (row) => name(row.of.message), (row) => row.of.message],
    ["Comment", "comment", (row) => name(row.of.comment), (row) => row.of.comment],
  ];
}

export class LiveTable extends RowTable {
  constructor(view, courses) {
    super();
    this.view = view;
    this.data = view.data;
    this.courses = courses;
    this.agedAt = this.sparkedAt = this.sortedAt = 0;
    const rows = rowsOf(this.data.signals, (signal) =>
      [signal.instance, signal.message, signal.unit, signal.comment, ...Object.values(signal.texts)]);
    this.choose({ columns: columns(this), kind: "signals", rows });
    this.showFound();
  }

  filter() {
    super.filter();
    this.sparkedAt = 0;
    this.showFound();
  }

  /** How many rows there are, also without a search. */
  showFound() {
    const found = document.getElementById("found");
    if (!found.textContent) found.textContent = `${this.data.signals.length} signals`;
  }

  decorate(row, { index }) {
    const cell = (className) => row.querySelector(`.${className}`);
    row.cells = { value: cell("current"), age: cell("age"), rate: cell("rate"), picture: cell("picture") };
    row.signal = index;
    this.show(row);
    this.showAge(row);
  }

  toggle(row) {
    const box = element("input");
    box.type = "checkbox";
    box.checked = this.view.shows(row.index);
    box.setAttribute("aria-label", visible(`Show the curve of ${row.of.instance}`));
    box.addEventListener("change", () => (box.checked ? this.view.add(row.index) : this.view.remove(row.index)));
    return box;
  }

  /** Ticks what has a curve. */
  showChosen() {
    for (const row of this.made.values()) row.querySelector("input").checked = this.view.shows(row.signal);
  }

  /** Brings the rows that are seen up to date. */
  draw(now) {
    if (this.order?.column[4] && now - this.sortedAt > SORT_EVERY && !this.holder.contains(document.activeElement)) {
      this.sortedAt = now;
      this.filter();
    }
    const isAging = now - this.agedAt > AGES_EVERY;
    const isSparking = now - this.sparkedAt > SPARK_EVERY;
    if (isAging) this.agedAt = now;
    if (isSparking) this.sparkedAt = now;
    for (const row of this.made.values()) {
      this.show(row);
      if (isAging) this.showAge(row);
      if (isSparking) this.showSpark(row);
    }
    if (!isSparking) return;
    const shown = [...this.made.values()].map((row) => row.signal);
    this.courses.keep(new Set([...this.view.chosen, ...shown]));
  }

  show(row) {
    const { data } = this;
    const number = data.hasValue(row.signal) ? data.numbers[row.signal] : null;
    const connection = data.connections[row.signal];
    if (row.number !== number || row.connection !== connection) {
      row.number = number;
      row.connection = connection;
      const { unit, ...unitless } = data.signals[row.signal]; // which has a column of its own
      const text = number === null ? MISSING[connection] ?? "–"
        : typeof number === "string" ? number : valueText(unitless, number);
      row.cells.value.textContent = visible(text);
      row.classList.toggle("absent", number === null);
    }
    row.classList.toggle("fresh", number !== null && performance.now() - data.seen[row.signal] < FRESH);
  }

  showAge(row) {
    const { data } = this;
    const hasValue = data.hasValue(row.signal);
    row.cells.age.textContent = hasValue ? ageText(data.age(row.signal)) : "";
    row.cells.rate.textContent = rateText(data.rates[row.signal]);
    row.classList.toggle("stale", hasValue && data.isStale(row.signal));
  }

  showSpark(row) {
    const { now } = this.data;
    const course = this.courses.of(row.signal, SPARK_SECONDS);
    const pairs = sparkOf(course, now - SPARK_SECONDS * 1e6, now, SPARK_COLUMNS);
    row.cells.picture.replaceChildren(sparkline(pairs));
  }
}
