/** Numbers and times as the page shows them. Times are microseconds since the start of the drive. */

/** @returns a number without the digits that only binary fractions have. */
export function numberText(value) {
  return String(Number(value.toPrecision(12)));
}

const pad = (value, digits) => String(value).padStart(digits, "0");

/** @returns the time as options such as --from take it: +95.204000 s. */
export function secondsText(time) {
  return `+${(time / 1e6).toFixed(6)} s`;
}

/** @returns the time of day in UTC, to the microsecond; with the date if wanted; "" for a drive without a real date. */
export function clockText(drive, time, withDate = false) {
  const micros = BigInt(drive.startNs) / 1000n + BigInt(Math.round(time));
  if (micros < 315532800000000n) return ""; // before 1980 a clock counts from its own start
  const date = new Date(Number(micros / 1000n));
  if (isNaN(date)) return "";
  const text = date.toISOString().replace("Z", pad(micros % 1000n, 3));
  return withDate ? text.replace("T", " ") : text.slice(text.indexOf("T") + 1);
}

/** @returns a length of time in the unit that suits it. */
export function lengthText(micros) {
  if (micros < 1000) return `${numberText(micros)} µs`;
  if (micros < 1e6) return `${Number((micros / 1000).toPrecision(4))} ms`;
  if (micros < 60e6) return `${Number((micros / 1e6).toPrecision(4))} s`;
  const seconds = Math.round(micros / 1e6);
  const hours = Math.floor(seconds / 3600);
  const rest = `${Math.floor((seconds % 3600) / 60)} min ${seconds % 60} s`;
  return hours ? `${hours} h ${rest}` : rest;
}

/** @returns the physical value of a raw number of a signal. */
export function physical(signal, raw) {
  return raw * signal.factor + signal.offset;
}

/** @returns the physical value as text: of a single-precision number no digits that it does not have. */
export function physicalText(signal, raw) {
  const value = physical(signal, raw);
  if (!signal.float) return numberText(value);
  return String(Number(value.toPrecision(Object.is(Math.fround(raw), raw) ? 7 : 10)));
}

/** @returns the value as text: what the definition calls it, or number and unit. */
export function valueText(signal, raw) {
  if (raw === null || raw === undefined || Number.isNaN(raw)) return "–";
  const text = signal.texts?.[String(raw)];
  if (text !== undefined) return `${text} (${numberText(raw)})`;
  const number = physicalText(signal, raw);
  return signal.unit ? `${number} ${signal.unit}` : number;
}

const STEPS = [15, 30, 60, 120, 300, 600, 900, 1800, 3600, 7200, 10800, 21600, 43200, 86400].map((s) => s * 1e6);

function tickStep(wanted) {
  if (wanted > 10e6) return STEPS.find((step) => step >= wanted) ?? Math.ceil(wanted / 86400e6) * 86400e6;
  const power = 10 ** Math.floor(Math.log10(wanted));
  return Math.max(1, [1, 2, 5, 10].map((digit) => digit * power).find((step) => step >= wanted * 0.999));
}

function tickText(time, step) {
  const sign = time < 0 ? "-" : "";
  const micros = Math.abs(Math.round(time));
  const digits = step >= 1e6 ? 0 : 6 - Math.floor(Math.log10(step) + 1e-9);
  const whole = Math.floor(micros / 1e6);
  const fraction = digits ? "." + pad(micros % 1e6, 6).slice(0, digits) : "";
  const minutes = Math.floor(whole / 60) % 60;
  const hours = Math.floor(whole / 3600);
  const rest = `${pad(whole % 60, 2)}${fraction}`;
  return sign + (hours ? `${hours}:${pad(minutes, 2)}:${rest}` : `${minutes}:${rest}`);
}

/** @returns the ticks of a time axis, about `count` of them: [{v: time, label}]. */
export function timeTicks(from, to, count) {
  const step = tickStep((to - from) / Math.max(1, count));
  const ticks = [];
  for (let i = Math.ceil(from / step); i * step <= to; ++i) {
    ticks.push({ v: i * step, label: tickText(i * step, step) });
  }
  return ticks;
}
