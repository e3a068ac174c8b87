/** Draws curves: point by point where there is room for them, else column by column, so that no spike is lost. */

/** Puts the points of a curve into a path, broken where there is no value. */
class Pen {
  constructor(context, steps) {
    this.context = context;
    this.steps = steps;
    this.points = 0; // since the last break
  }

  point(x, y) {
    if (this.points === 0) {
      this.context.moveTo(x, y);
    } else {
      if (this.steps) this.context.lineTo(x, this.y);
      this.context.lineTo(x, y);
    }
    ++this.points;
    this.x = x;
    this.y = y;
  }

  /** A value that stands alone becomes a dot. */
  lift() {
    if (this.points === 1) this.context.rect(this.x - 0.75, this.y - 0.75, 1.5, 1.5);
    this.points = 0;
  }
}

function drawPoints(context, curve, begin, end, place) {
  const pen = new Pen(context, place.steps);
  context.beginPath();
  for (let i = begin; i < end; ++i) {
    if (Number.isNaN(curve.values[i])) pen.lift();
    else pen.point(place.xOf(curve.times[i]), place.yOf(curve.values[i]));
  }
  pen.lift();
  context.stroke();
}

/** Adds the way from a point to the next one to the path. */
function drawBridge(context, curve, before, place) {
  const x = place.xOf(curve.times[before + 1]);
  const y = place.yOf(curve.values[before]);
  const next = curve.values[before + 1];
  const holds = place.steps || Number.isNaN(next);
  context.moveTo(place.xOf(curve.times[before]), y);
  if (holds) context.lineTo(x, y);
  if (!Number.isNaN(next)) context.lineTo(x, place.yOf(next));
}

/**
 * Fills each column of pixels from the least to the largest value in it, and to the value that held before. Lines lead
 * over columns without points. Much faster than a line through all of these.
 */
function drawColumns(context, curve, columns, place) {
  const { from, to, x, w } = place;
  const half = context.lineWidth / 2;
  const bar = w / columns;
  let before = -1; // index of the last point before the column
  let last = -1; // the column that it is in
  context.beginPath();
  curve.eachColumn(from, to, columns, (column, begin, end) => {
    const joined = before >= 0 && !Number.isNaN(curve.values[before]);
    const isNext = column === last + 1;
    if (joined && !isNext) drawBridge(context, curve, before, place);
    const [least, largest] = curve.extremes.of(joined && isNext ? before : begin, end);
    if (least >= 0 && column >= 0 && column < columns) {
      const a = place.yOf(curve.values[least]);
      const b = place.yOf(curve.values[largest]);
      context.fillRect(x + column * bar, Math.min(a, b) - half, bar, Math.abs(a - b) + 2 * half);
    }
    before = end - 1;
    last = column;
  });
  context.stroke();
}

/**
 * @param context with the colour and the width of the line
 * @param place where: {from, to} times, {x, w} pixels, {scale, zero} of raw numbers in pixels, and whether it steps:
 *   whether values hold up to the next one
 */
export function drawCurve(context, curve, place) {
  place.xOf = (time) => place.x + ((time - place.from) / (place.to - place.from)) * place.w;
  place.yOf = (value) => place.zero + value * place.scale;
  const columns = Math.max(1, Math.round(place.w * (window.devicePixelRatio || 1)));
  const [begin, end] = curve.span(place.from, place.to);
  context.fillStyle = context.strokeStyle;
  context.lineJoin = "bevel";
  if (end - begin <= 2 * columns) drawPoints(context, curve, begin, end, place);
  else drawColumns(context, curve, columns, place);
}
