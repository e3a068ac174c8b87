/** The table of all signals and messages. */
import { lengthText, numberText, physical, valueText } from "./format.js";
import { RowTable, rowsOf } from "./rowTable.js";
import { sparkline } from "./sparkline.js";
import { makeTabs } from "./tabs.js";
import { element, name, visible } from "./text.js";

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

export class Table extends RowTable {
  constructor(view) {
    super();
    this.view = view;
    const { drive } = view;
    this.kinds = [
      { columns: signalColumns(this), kind: "signals", rows: rowsOf(drive.signals, (signal) =>
        [signal.instance, messageName(drive, signal), signal.unit, signal.comment, ...Object.values(signal.texts)]) },
      { columns: messageColumns(), kind: "messages", rows: rowsOf(drive.messages, (message) =>
        [message.name, message.id, message.bus, message.comment]) },
    ];
    const titles = this.kinds.map(({ kind, rows }) => `${kind === "signals" ? "Signals" : "Messages"} ${rows.length}`);
    view.listen((changed) => changed.has("panels") && this.refill());
    makeTabs(document.getElementById("table-tabs"), titles, (chosen) => this.choose(this.kinds[chosen]));
  }

  decorate(row, data) {
    if (this.shown.kind === "signals") this.makeDraggable(row, data);
    else this.makeChoosable(row, data);
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
