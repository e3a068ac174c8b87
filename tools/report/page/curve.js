/** A curve, and what of it a picture needs. */

const FAN = 16;

/**
 * Finds the least and the largest value of any stretch of points in a few steps: level k knows them for each block of
 * 16^k points. NaN counts as no value.
 */
class Extremes {
  constructor(values) {
    this.values = values;
    this.levels = [];
    let size = values.length;
    let below = null;
    while (size > FAN) {
      below = this.above(below, size);
      size = below.least.length;
      this.levels.push(below);
    }
  }

  above(below, size) {
    const length = Math.ceil(size / FAN);
    const level = { least: new Int32Array(length), largest: new Int32Array(length) };
    for (let block = 0; block < length; ++block) {
      let least = -1;
      let largest = -1;
      const end = Math.min(size, (block + 1) * FAN);
      for (let i = block * FAN; i < end; ++i) {
        least = this.lesser(least, below ? below.least[i] : i);
        largest = this.larger(largest, below ? below.largest[i] : i);
      }
      level.least[block] = least;
      level.largest[block] = largest;
    }
    return level;
  }

  lesser(a, b) {
    if (b < 0 || Number.isNaN(this.values[b])) return a;
    return a < 0 || this.values[b] < this.values[a] ? b : a;
  }

  larger(a, b) {
    if (b < 0 || Number.isNaN(this.values[b])) return a;
    return a < 0 || this.values[b] > this.values[a] ? b : a;
  }

  /** @returns [index of the least, index of the largest value] of the points begin..end-1; -1 if there is none. */
  of(begin, end) {
    let least = -1;
    let largest = -1;
    for (let i = begin; i < end;) {
      let level = 0;
      let size = 1;
      while (level < this.levels.length && i % (size * FAN) === 0 && i + size * FAN <= end) {
        size *= FAN;
        ++level;
      }
      const block = i / size;
      least = this.lesser(least, level ? this.levels[level - 1].least[block] : i);
      largest = this.larger(largest, level ? this.levels[level - 1].largest[block] : i);
      i += size;
    }
    return [least, largest];
  }
}

/** The points of a curve in order of time. What it costs to draw it depends on the width of the picture only. */
export class Curve {
  /**
   * @param points {times, values} as readPoints gives them
   * @param resolution microseconds within which the order of states is not known; 0: every change is there
   */
  constructor(points, resolution = 0) {
    this.times = points.times;
    this.values = points.values;
    this.resolution = resolution;
  }

  get extremes() {
    return (this.madeExtremes ??= new Extremes(this.values));
  }

  /** @returns the first index in begin..end-1 whose time is later than `time`, or end. */
  after(time, begin = 0, end = this.times.length) {
    while (begin < end) {
      const middle = (begin + end) >> 1;
      if (this.times[middle] <= time) begin = middle + 1;
      else end = middle;
    }
    return begin;
  }

  /** As after(), for times that lie a few points beyond `begin`: looks in steps that double. */
  soonAfter(time, begin, end) {
    let step = 8;
    while (begin + step < end && this.times[begin + step] <= time) {
      begin += step;
      step *= 2;
    }
    return this.after(time, begin, Math.min(end, begin + step + 1));
  }

  /** @returns the value that holds at a time, NaN if there is none. */
  valueAt(time) {
    const index = this.after(time) - 1;
    return index < 0 ? NaN : this.values[index];
  }

  /** @returns the values that a curve of states may have at a time: several where it does not know the order. */
  statesAt(time) {
    const states = new Set([this.valueAt(time)]);
    const since = time - this.resolution;
    for (let i = this.after(time) - 1; i >= 0 && this.times[i] > since; --i) states.add(this.values[i]);
    return [...states];
  }

  /** @returns [begin, end) of the points that a picture of from..to needs: with one before and one after it. */
  span(from, to) {
    return [Math.max(0, this.after(from) - 1), Math.min(this.times.length, this.after(to) + 1)];
  }

  /**
   * Calls `act(column, begin, end)` for each column of a picture that has points, the points being begin..end-1; column
   * -1 has the last point before the picture, column `columns` the first one after it.
   */
  eachColumn(from, to, columns, act) {
    const [begin, end] = this.span(from, to);
    let i = this.after(from, begin, end);
    if (i > begin) act(-1, begin, i);
    while (i < end && this.times[i] <= to) {
      const column = Math.min(columns - 1, Math.floor(((this.times[i] - from) / (to - from)) * columns));
      const next = this.soonAfter(from + ((to - from) * (column + 1)) / columns, i + 1, end);
      act(column, i, next);
      i = next;
    }
    if (i < end) act(columns, i, end);
  }

  /** @returns [least, largest] value of what is seen between two times, or null if there is none. */
  range(from, to) {
    const [least, largest] = this.extremes.of(Math.max(0, this.after(from) - 1), this.after(to));
    return least < 0 ? null : [this.values[least], this.values[largest]];
  }

  /**
   * The bands of a curve of states in a picture.
   * @returns [{from, to, value}] without holes; value NaN: none, undefined: several, in one column or within
   *   the resolution
   */
  bands(from, to, columns) {
    const end = this.after(to);
    const width = Math.max((to - from) / columns, this.resolution);
    const bands = [];
    const add = (start, value) => {
      const last = bands[bands.length - 1];
      if (last && Object.is(last.value, value)) return;
      if (last) last.to = start;
      bands.push({ from: start, to, value });
    };
    let i = this.after(from);
    add(from, i > 0 ? this.values[i - 1] : NaN);
    while (i < end) {
      const next = this.after(this.times[i] + width, i + 1, end);
      if (next > i + 1 && this.differ(i - 1, next)) add(this.times[i], undefined);
      // The state at the end of the column goes on from there.
      add(next > i + 1 ? Math.min(to, this.times[i] + width) : this.times[i], this.values[next - 1]);
      i = next;
    }
    return bands;
  }

  /** Whether the points begin..end-1 have several values. */
  differ(begin, end) {
    const [least, largest] = this.extremes.of(Math.max(0, begin), end);
    return least >= 0 && this.values[least] !== this.values[largest];
  }
}
