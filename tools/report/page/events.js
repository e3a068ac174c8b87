/** The list beside the curves: firings of conditions, findings, gaps and remarks; a click jumps to the moment. */
import { clockText, lengthText, secondsText } from "./format.js";
import { makeTabs } from "./tabs.js";
import { element, name } from "./text.js";

const AT_ONCE = 200; // entries that are made before one asks for more
const SEVERITIES = ["error", "warning", "note"];

export class Events {
  constructor(view) {
    this.view = view;
    this.list = document.getElementById("event-list");
    const { drive } = view;
    const firings = drive.conditions.flatMap((condition) => condition.firings.map((firing) => ({ condition, firing })));
    firings.sort((a, b) => a.firing.at - b.firing.at);
    const findings = [...drive.findings].sort((a, b) =>
      SEVERITIES.indexOf(a.severity) - SEVERITIES.indexOf(b.severity) || (a.at ?? -1) - (b.at ?? -1));
    this.tabs = [
      ["Firings", firings, (entry) => this.firing(entry), this.aboutConditions(), "No conditions were given."],
      ["Findings", findings, (entry) => this.finding(entry), "", "Nothing odd was found."],
      ["Gaps", drive.gaps, (entry) => this.gap(entry), "", "Frames came all the time."],
      ["Remarks", drive.remarks, (entry) => element("li", "remark", entry), "", ""],
    ].filter(([title, entries]) => title !== "Remarks" || entries.length);
    const titles = this.tabs.map(([title, entries]) => `${title} ${entries.length}`);
    const select = makeTabs(document.getElementById("event-tabs"), titles, (chosen) => this.fill(...this.tabs[chosen]));
    if (!firings.length && findings.length) select(1);
  }

  /** What is to be said of conditions beside their firings: that there are none, or more than the page holds. */
  aboutConditions() {
    return this.view.drive.conditions.flatMap(({ name: called, text, firings, count }) => {
      if (!firings.length) return [`${called} never fired: ${text}`];
      return count > firings.length ? [`${called} fired ${count} times; ${firings.length} of them are here`] : [];
    }).join("\n");
  }

  fill(title, entries, make, before, none) {
    const list = element("ul", "entries");
    this.list.replaceChildren(list);
    const lines = before.split("\n").flatMap((line) => [line, element("br")]);
    if (before) this.list.prepend(element("p", "quiet", ...lines));
    if (!entries.length && !before) this.list.append(element("p", "quiet", none));
    let made = 0;
    const more = element("button", "more", "Show more");
    const addSome = () => {
      list.append(...entries.slice(made, made + AT_ONCE).map(make));
      made += AT_ONCE;
      more.hidden = made >= entries.length;
    };
    more.addEventListener("click", addSome);
    addSome();
    this.list.append(more);
  }

  /** The moment of an entry: a button that goes there. */
  moment(at, until, act = () => {}) {
    const made = element("button", "moment", secondsText(at));
    made.title = clockText(this.view.drive, at, true);
    made.addEventListener("click", () => {
      act();
      this.view.jump(at, until);
      this.list.querySelector(".current")?.classList.remove("current");
      made.closest("li").classList.add("current");
    });
    return made;
  }

  lasting(at, until, endless = "") {
    return element("span", "lasting", until === null ? endless : lengthText(until - at));
  }

  firing({ condition, firing }) {
    const row = element("div", "row", this.moment(firing.at, firing.until), name(condition.name, "what"),
      this.lasting(firing.at, firing.until, "to the end"));
    return element("li", "firing", row, this.explanation(condition, firing));
  }

  explanation(condition, firing) {
    const details = element("details", "", element("summary", "", name(condition.text)));
    details.addEventListener("toggle", () => {
      if (details.children.length > 1) return;
      const lines = (firing.why || "no explanation").split("\n").flatMap((line) => [element("bdi", "", line), "\n"]);
      const text = element("pre");
      text.append(...lines);
      details.append(text);
    });
    return details;
  }

  finding(entry) {
    const show = () => this.showSignals(entry);
    const row = element("div", "row");
    if (entry.at !== null) row.append(this.moment(entry.at, entry.until, show));
    const severity = SEVERITIES.includes(entry.severity) ? entry.severity : "note";
    row.append(element("span", `severity ${severity}`, entry.severity));
    row.append(element("span", "rule", entry.rule));
    if (entry.count > 1) row.append(element("span", "lasting", `${entry.count} times`));
    const about = entry.about || this.messageOf(entry);
    const text = element("p", "", ...(about ? [name(about, "what"), ": "] : []), name(entry.text));
    const item = element("li", "finding", row, text);
    if (entry.moments?.length > 1) item.append(this.moments(entry, show));
    return item;
  }

  /** What a finding without a name of its own is about. */
  messageOf(entry) {
    const message = entry.message === null ? null : this.view.drive.messages[entry.message];
    if (!message) return "";
    return message.name || `${message.bus} ${message.id}`;
  }

  /** The moments of a finding that was made several times. */
  moments(entry, show) {
    const details = element("details", "", element("summary", "", `${entry.moments.length} of its moments`));
    details.addEventListener("toggle", () => {
      if (details.children.length > 1) return;
      const rows = entry.moments.map(({ at, text }) => element("div", "row", this.moment(at, null, show), name(text)));
      details.append(...rows);
    });
    return details;
  }

  /** Brings the curve that a finding is about into the page; those of its message if it is about a message. */
  showSignals(entry) {
    const { view } = this;
    if (entry.signal !== null) {
      view.add(entry.signal);
      return;
    }
    const own = view.drive.signals.flatMap((signal, k) => (signal.message === entry.message ? [k] : []));
    if (entry.message !== null && own.length && !own.some((k) => view.shows(k))) view.add(own[0]);
  }

  gap(entry) {
    const what = element("span", "what", "nothing was heard for");
    const row = element("div", "row", this.moment(entry.from, entry.to), what, this.lasting(entry.from, entry.to));
    return element("li", "gap", row);
  }
}
