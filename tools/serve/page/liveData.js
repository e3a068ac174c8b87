/** The signals as the server tells of them, kept up to date by its stream of events. */

const RETRY = 2000; // milliseconds
const SILENCE = 4000; // milliseconds without an event: the server tells something each second

/** What does not change while the server runs. Times are microseconds since its `origin`, a midnight. */
export async function loadHeader() {
  const answer = await fetch("api/signals");
  if (!answer.ok) throw new Error((await answer.text()).trim());
  return answer.json();
}

export class LiveData {
  constructor(header) {
    this.run = header.run;
    this.startNs = header.origin;
    this.history = header.history;
    this.signals = header.signals;
    this.conditions = header.conditions.map((condition) => ({ ...condition, state: null, firings: 0, last: [] }));
    const count = this.signals.length;
    this.numbers = new Array(count).fill(null); // before scaling; null: no value; a text: no number of JSON
    this.times = new Float64Array(count);
    this.updates = new Float64Array(count); // how many values there were
    this.rates = new Float64Array(count); // of values a second
    this.seen = new Float64Array(count); // when a value changed last, by the clock of the page
    this.connections = new Array(count).fill("");
    this.isConnected = false;
    this.heard = -Infinity;
    this.listeners = [];
    this.countedAt = performance.now();
    this.counted = this.updates.slice();
    setInterval(() => this.count(), 1000);
  }

  /** @param listener called with each event, when it has been taken over */
  listen(listener) {
    this.listeners.push(listener);
  }

  connect() {
    const source = new EventSource("api/events");
    source.onmessage = (message) => this.take(JSON.parse(message.data));
    source.onerror = () => {
      this.isConnected = false;
      if (source.readyState !== EventSource.CLOSED) return; // it connects again by itself
      setTimeout(() => this.connect(), RETRY);
    };
  }

  take(event) {
    if (event.run !== undefined && event.run !== this.run) {
      location.reload(); // another run of the server, perhaps with other signals
      return;
    }
    this.heard = performance.now();
    this.isConnected = true;
    this.serverNow = event.now;
    for (const [signal, number, time, updates] of event.values ?? []) {
      if (this.numbers[signal] !== number) this.seen[signal] = this.heard;
      this.numbers[signal] = number;
      this.times[signal] = time;
      this.updates[signal] = updates;
    }
    if (event.run !== undefined) this.counted.set(this.updates); // those before were not seen now
    for (const [signal, connection] of event.connections ?? []) this.connections[signal] = connection;
    for (const [index, state, firings] of event.states ?? []) Object.assign(this.conditions[index], { state, firings });
    for (const listener of this.listeners) listener(event);
  }

  /** The time of the writers' clock now. */
  get now() {
    return (this.serverNow ?? 0) + Math.min(SILENCE, performance.now() - this.heard) * 1000;
  }

  get isSilent() {
    return !this.isConnected || performance.now() - this.heard > SILENCE;
  }

  hasValue(signal) {
    return this.updates[signal] > 0 && this.numbers[signal] !== null;
  }

  /** Microseconds since the value was written. */
  age(signal) {
    return Math.max(0, this.now - this.times[signal]);
  }

  isStale(signal) {
    return this.age(signal) > this.signals[signal].stale;
  }

  count() {
    const now = performance.now();
    const seconds = (now - this.countedAt) / 1000;
    for (let i = 0; i < this.rates.length; ++i) this.rates[i] = (this.updates[i] - this.counted[i]) / seconds;
    this.countedAt = now;
    this.counted.set(this.updates);
  }
}
