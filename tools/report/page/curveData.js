/** The drive's data as they lie in the page: the header, and the points of the curves. */

/** @returns the header: what the page shows beside the curves. */
export function readHeader() {
  return JSON.parse(document.getElementById("drive").textContent);
}

function bytesOfBase64(text) {
  if (Uint8Array.fromBase64) return Uint8Array.fromBase64(text);
  const binary = atob(text);
  const bytes = new Uint8Array(binary.length);
  for (let i = 0; i < binary.length; ++i) bytes[i] = binary.charCodeAt(i);
  return bytes;
}

async function inflate(bytes) {
  const reader = new Blob([bytes]).stream().pipeThrough(new DecompressionStream("gzip")).getReader();
  const pieces = [];
  let size = 0;
  for (let piece = await reader.read(); !piece.done; piece = await reader.read()) {
    pieces.push(piece.value);
    size += piece.value.length;
  }
  const whole = new Uint8Array(size);
  let at = 0;
  for (const piece of pieces) {
    whole.set(piece, at);
    at += piece.length;
  }
  return whole;
}

/** @returns the bytes of all curves. The element's text is given up: it is as large as the page. */
export async function readCurveBytes() {
  const holder = document.getElementById("curves");
  const text = holder.textContent.trim();
  holder.remove();
  if (!text) return new Uint8Array();
  if (typeof DecompressionStream === "undefined") {
    throw new Error("This browser is too old to unpack the curves; one of 2023 or later can.");
  }
  return inflate(bytesOfBase64(text));
}

/** Reads numbers one after the other. */
class Reader {
  constructor(bytes, at) {
    this.bytes = bytes;
    this.at = at;
  }

  next() {
    if (this.at >= this.bytes.length) throw new Error("The data of a curve end early.");
    return this.bytes[this.at++];
  }

  /** LEB128, exact up to 2^53. */
  unsigned() {
    let byte = this.next();
    let value = byte & 127;
    for (let scale = 128; byte & 128; scale *= 128) {
      byte = this.next();
      value += (byte & 127) * scale;
    }
    return value;
  }

  /** Zigzag LEB128. The sign is the lowest bit, so that the magnitude is exact up to 2^53. */
  signed() {
    let byte = this.next();
    const negative = byte & 1;
    let value = (byte & 127) >> 1;
    for (let scale = 64; byte & 128; scale *= 128) {
      byte = this.next();
      value += (byte & 127) * scale;
    }
    return negative ? -value - 1 : value;
  }
}

function readTimes(reader, count) {
  const times = new Float64Array(count);
  let time = 0;
  for (let i = 0; i < count; ++i) times[i] = time += reader.unsigned();
  return times;
}

function readDoubles(reader, count) {
  const view = new DataView(reader.bytes.buffer, reader.bytes.byteOffset);
  return Float64Array.from({ length: count }, (_, i) => view.getFloat64(reader.at + 8 * i, true));
}

function readDifferences(reader, count) {
  const breaks = reader.at;
  reader.at += Math.ceil(count / 8);
  const values = new Float64Array(count);
  let value = 0;
  for (let i = 0; i < count; ++i) {
    const isBreak = (reader.bytes[breaks + (i >> 3)] >> (i & 7)) & 1;
    values[i] = isBreak ? NaN : (value += reader.signed());
  }
  return values;
}

/**
 * Reads the points of one curve.
 * @param bytes those of all curves
 * @param place {at, points, values} of the header
 * @returns {times, values}: microseconds and raw numbers, NaN where there is no value from then on
 */
export function readPoints(bytes, place) {
  const reader = new Reader(bytes, place.at);
  const times = readTimes(reader, place.points);
  return { times, values: (place.values === "double" ? readDoubles : readDifferences)(reader, place.points) };
}
