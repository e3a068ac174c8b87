/**
 * A panel of curves over time. dygraphs lays it out and draws axes and grid; the plotter that it is given draws the
 * curves.
 */
import { drawCurve } from "./drawCurve.js";
import { numberText, physical, timeTicks } from "./format.js";
import { look } from "./look.js";
import { drawMarks } from "./marks.js";

Dygraph.PLUGINS = [Dygraph.Plugins.Axes, Dygraph.Plugins.Grid];

const TICK = 3; // pixels of an axis tick: dygraphs keeps this room on both sides of the labels

const labelText = (value) => (Math.abs(value) >= 1e7 ? value.toPrecision(4) : numberText(Number(value.toPrecision(6))));

export class LinePlot {
  /**
   * @param holder the element to draw into
   * @param signals those of the panel, from the header
   * @param curves theirs
   */
  constructor(holder, view, signals, curves) {
    this.view = view;
    this.signals = signals;
    this.curves = curves;
    const names = signals.map((_, k) => `curve ${k}`);
    const { from, to } = view.drive;
    const ends = [from - 1, to + 1].map((time) => [time, ...signals.map(() => 0)]);
    this.graph = new Dygraph(holder, ends, {
      ...this.colours(),
      ...this.window(),
      labels: ["time", ...names],
      plotter: (event) => this.drawCurve(event, names.indexOf(event.setName)),
      axes: {
        x: { drawAxis: false, ticker: (begin, end, pixels) => timeTicks(begin, end, pixels / 90) },
        y: {
          axisLabelWidth: LinePlot.axisWidth - 2 * TICK, axisTickSize: TICK, axisLabelFormatter: labelText,
          pixelsPerLabel: 26,
        },
      },
      rightGap: 0,
      strokeWidth: 1.5,
      axisLabelFontSize: 11,
      gridLineWidth: 1,
      highlightCircleSize: 0,
      interactionModel: {},
      underlayCallback: (context, area) => drawMarks(context, view, area),
    });
  }

  colours() {
    return { colors: look.curves.slice(0, this.signals.length), gridLineColor: look.grid, axisLineColor: look.grid };
  }

  window() {
    const valueRange = this.view.fitted ? this.visibleRange() : this.wholeRange();
    return { dateWindow: [this.view.from, this.view.to], valueRange };
  }

  drawCurve({ drawingContext, plotArea, dygraph, color, strokeWidth }, k) {
    const { factor, offset, kind } = this.signals[k];
    const { from, to } = this.view;
    const zero = dygraph.toDomYCoord(0);
    const perUnit = dygraph.toDomYCoord(1) - zero;
    drawingContext.strokeStyle = color;
    drawingContext.lineWidth = strokeWidth;
    drawCurve(drawingContext, this.curves[k], {
      from, to, x: plotArea.x, w: plotArea.w, zero: zero + offset * perUnit, scale: factor * perUnit,
      steps: kind !== "line",
    });
  }

  wholeRange() {
    return padded(this.signals.map((s) => (s.min === null ? null : [physical(s, s.min), physical(s, s.max)])));
  }

  visibleRange() {
    const { from, to } = this.view;
    return padded(this.signals.map((signal, k) => this.curves[k].range(from, to)?.map((raw) => physical(signal, raw))));
  }

  draw() {
    this.graph.updateOptions(this.window());
  }

  relook() {
    this.graph.updateOptions(this.colours(), true);
  }

  resize() {
    this.graph.resize();
  }

  destroy() {
    this.graph.destroy();
  }
}
LinePlot.axisWidth = 56;

/** The range of all ranges, with room above and below. */
function padded(ranges) {
  const bounds = ranges.filter(Boolean).flat();
  if (bounds.length === 0) return [0, 1];
  const least = Math.min(...bounds);
  const largest = Math.max(...bounds);
  const room = (largest - least) * 0.07 || Math.abs(least) * 0.1 || 1;
  return [least - room, largest + room];
}
