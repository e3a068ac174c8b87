/** The table of all signals and messages, with search. Only the rows that are seen are in the page. */
import { lengthText, numberText, physical, valueText } from "./format.js";
import { sparkline } from "./sparkline.js";
import { makeTabs } from "./tabs.js";
import { element, name, visible } from "./text.js";

const ROW = 34; // height of a row in pixels, as in the style sheet
const AROUND = 8; // rows kept above and below those that are seen

const number = (value) => element("span", "number", value === null ? "–" : numberText(value));

const scaled = (signal, raw) => (raw === null ? null : physical(signal, raw));

function bound(signal, raw) {
  return element("span", "number", raw === null ? "–" : String(Number(scaled(signal, raw).toPrecision(7))));
}

/** The columns: title, class, what a row shows there, and by what the table is sorted. */
function signalColumns(table) {
  const { view } = table;
  return [
    ["", "toggle", (row) => table.toggle(row)],
    ["Signal", "name", (row) => name(row.of.instance), (row) => row.of.instance],
    ["Course", "picture", (row) => sparkline(row.of.spark ?? [])],
    ["Last", "last", (row) => name(valueText(row.of, row.of.last)), (row) => scaled(row.of, row.of.last) ?? -Infinity],
    ["Least", "least", (row) => bound(row.of, row.of.min), (row) => scaled(row.of, row.of.min) ?? -Infinity],
    ["Largest", "largest", (row) => bound(row.of, row.of.max), (row) => scaled(row.of, row.of.max) ?? -Infinity],
    ["Unit", "unit", (row) => name(row.of.unit), (row) => row.of.unit],
    ["Values", "count", (row) => number(row.of.count), (row) => row.of.count],
    ["Changes", "changes", (row) => number(row.of.changes), (row) => row.of.changes],
    ["Message", "message", (row) => name(messageName(view.drive, row.of)), (row) => messageName(view.drive, row.of)],
    ["Comment", "comment", (row) => name(row.of.comment), (row) => row.of.comment],
  ];
}

function messageColumns() {
  const place = (m) => (m.channel === null ? m.bus : `${m.bus} ${m.channel}`);
  return [
    ["Message", "name", (row) => name(row.of.name || "not defined", row.of.decoded ? "" : "unknown"),
      (row) => row.of.name],
    ["Identifier", "id", (row) => name(row.of.id), (row) => row.of.id],
    ["Bus", "bus", (row) => name(place(row.of)), (row) => place(row.of)],
    ["Frames", "count", (row) => number(row.of.count), (row) => row.of.count],
    ["Interval", "interval",
      (row) => element("span", "number", row.of.interval === null ? "–" : lengthText(row.of.interval)),
      (row) => row.of.interval ?? Infinity],
    ["Bytes", "length", (row) => number(row.of.length), (row) => row.of.length],
    ["Comment", "comment", (row) => name(row.of.comment), (row) => row.of.comment],
  ];
}

function messageName(drive, signal) {
  const message = drive.messages[signal.message];
  return message ? message.name || message.id : "";
}

/** @returns the rows of a table: what each is of, its index, and the words that a search finds it by */
function rowsOf(all, words) {
  return all.map((of, index) => ({ of, index, words: words(of).join("\n").toLowerCase() }));
}

export class Table {
  constructor(view) {
    this.view = view;
    const { drive } = view;
    this.holder = document.getElementById("table");
    this.search = document.getElementById("search");
    this.kinds = [
      { columns: signalColumns(this), kind: "signals", rows: rowsOf(drive.signals, (signal) =>
        [signal.instance, messageName(drive, signal), signal.unit, signal.comment, ...Object.values(signal.texts)]) },
      { columns: messageColumns(), kind: "messages", rows: rowsOf(drive.messages, (message) =>
        [message.name, message.id, message.bus, message.comment]) },
    ];
    const titles = this.kinds.map(({ kind, rows }) => `${kind === "signals" ? "Signals" : "Messages"} ${rows.length}`);
    this.search.addEventListener("input", () => this.filter());
    this.holder.addEventListener("scroll", () => this.fill());
    new ResizeObserver(() => this.fill()).observe(this.holder);
    view.listen((changed) => changed.has("panels") && this.refill());
    makeTabs(document.getElementById("table-tabs"), titles, (chosen) => this.choose(this.kinds[chosen]));
  }

  choose(shown) {
    this.shown = shown;
    this.order = null;
    this.holder.className = `table ${shown.kind}`;
    this.head = element("div", "tr head", ...shown.columns.map((column) => this.title(column)));
    this.head.setAttribute("role", "row");
    this.body = element("div", "body");
    this.body.setAttribute("role", "rowgroup");
    this.holder.replaceChildren(this.head, this.body);
    this.filter();
  }

  title(column) {
    const [text, className, , by] = column;
    const cell = element("div", `td ${className}`);
    cell.setAttribute("role", "columnheader");
    if (!by) {
      cell.append(text);
      return cell;
    }
    const sort = element("button", "sort", text);
    sort.addEventListener("click", () => this.sort(column, cell));
    cell.append(sort);
    return cell;
  }

  sort(column, cell) {
    const falling = this.order?.column === column && !this.order.falling;
    this.order = { column, falling };
    for (const other of this.head.children) other.removeAttribute("aria-sort");
    cell.setAttribute("aria-sort", falling ? "descending" : "ascending");
    this.filter();
  }

  /** Shows the rows that hold every word of the search. */
  filter() {
    const words = this.search.value.toLowerCase().split(/\s+/).filter(Boolean);
    this.rows = this.shown.rows.filter((row) => words.every((word) => row.words.includes(word)));
    if (this.order) {
      const by = this.order.column[3];
      const sign = this.order.falling ? -1 : 1;
      this.rows.sort((a, b) => sign * (by(a) < by(b) ? -1 : by(a) > by(b) ? 1 : 0));
    }
    document.getElementById("found").textContent =
      words.length ? `${this.rows.length} of ${this.shown.rows.length}` : "";
    this.body.style.height = `${this.rows.length * ROW}px`;
    this.holder.setAttribute("aria-rowcount", String(this.rows.length + 1));
    this.refill();
  }

  refill() {
    this.made = new Map();
    this.body.replaceChildren();
    this.fill();
  }

  /** Makes the rows that are seen, and drops the others. */
  fill() {
    const begin = Math.max(0, Math.floor(this.holder.scrollTop / ROW) - AROUND);
    const end = Math.min(this.rows.length, begin + Math.ceil(this.holder.clientHeight / ROW) + 2 * AROUND);
    for (const [index, row] of this.made) {
      if (index >= begin && index < end) continue;
      row.remove();
      this.made.delete(index);
    }
    for (let index = begin; index < end; ++index) {
      if (this.made.has(index)) continue;
      const row = this.row(this.rows[index], index);
      this.made.set(index, row);
      this.body.append(row);
    }
  }

  row(data, index) {
    const row = element("div", "tr", ...this.shown.columns.map(([, className, show]) => {
      const cell = element("div", `td ${className}`, show(data));
      cell.setAttribute("role", "cell");
      if (className === "comment" || className === "name") cell.title = cell.textContent;
      return cell;
    }));
    row.setAttribute("role", "row");
    row.setAttribute("aria-rowindex", String(index + 2));
    row.style.transform = `translateY(${index * ROW}px)`;
    if (this.shown.kind === "signals") this.makeDraggable(row, data);
    else this.makeChoosable(row, data);
    return row;
  }

  makeDraggable(row, data) {
    row.draggable = data.of.curve !== null;
    row.addEventListener("dragstart", (event) => event.dataTransfer.setData("text/x-signal", String(data.index)));
  }

  /** A double click on a message shows its signals. */
  makeChoosable(row, data) {
    row.addEventListener("dblclick", () => {
      this.search.value = data.of.name || data.of.id;
      document.querySelector("#table-tabs .tab").click();
    });
  }

  toggle(row) {
    const box = element("input");
    box.type = "checkbox";
    box.checked = this.view.shows(row.index);
    box.disabled = row.of.curve === null;
    box.setAttribute("aria-label", visible(`Show the curve of ${row.of.instance}`));
    box.addEventListener("change", () => {
      if (box.checked) this.view.add(row.index);
      else this.view.remove(row.index);
    });
    return box;
  }
}
