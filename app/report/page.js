// Replaces the static picture of each chart by one that can be zoomed (drag) and read out. Nothing
// is lost without it.
(() => {
  'use strict';
  const kInks = 6, kAxisGap = 62;
  const css = (name) => getComputedStyle(document.documentElement).getPropertyValue(name).trim();
  let theme;
  const readTheme = () => {
    theme = {ink: css('--soft'), grid: css('--grid'), frame: css('--frame'), band: css('--band'),
             empty: css('--empty'), panel: css('--panel'), c: [], over: []};
    for (let i = 0; i < kInks; ++i) {
      theme.c.push(css('--c' + i));
      theme.over.push(css('--o' + i));
    }
  };
  const short = (v) => v == null ? '' : String(+v.toPrecision(6));

  // The backdrop's pixels, to be drawn and to be read.
  class Picture {
    constructor(spec, element) {
      this.spec = spec;
      this.image = new Image();
      this.ready = new Promise((resolve) => {
        this.image.onload = () => {
          const canvas = document.createElement('canvas');
          canvas.width = this.image.width;
          canvas.height = this.image.height;
          const context = canvas.getContext('2d', {willReadFrequently: true});
          context.drawImage(this.image, 0, 0);
          this.pixels = context.getImageData(0, 0, canvas.width, canvas.height);
          resolve();
        };
      });
      this.image.src = element.getAttribute('href');
      this.ramp = spec.ramp.map((c) => [1, 3, 5].map((at) => parseInt(c.slice(at, at + 2), 16)));
    }
    draw(u) {
      const {ctx, bbox} = u, s = this.spec;
      ctx.save();
      ctx.beginPath();
      ctx.rect(bbox.left, bbox.top, bbox.width, bbox.height);
      ctx.clip();
      ctx.fillStyle = theme.empty;
      ctx.fillRect(bbox.left, bbox.top, bbox.width, bbox.height);
      const x = u.valToPos(s.x0, 'x', true), y = u.valToPos(s.y1, 'y', true);
      const width = u.valToPos(s.x1, 'x', true) - x, height = u.valToPos(s.y0, 'y', true) - y;
      // Cells have sharp edges; drawn smaller than one to a pixel, none may be left out.
      ctx.imageSmoothingEnabled = width < this.image.width || height < this.image.height;
      ctx.imageSmoothingQuality = 'high';
      ctx.drawImage(this.image, x, y, width, height);
      ctx.restore();
    }
    // What the colour at a place stands for, as near as the colour tells.
    valueAt(x, y) {
      const s = this.spec, p = this.pixels;
      const column = Math.floor((x - s.x0) / (s.x1 - s.x0) * p.width);
      const row = Math.floor((s.y1 - y) / (s.y1 - s.y0) * p.height);
      if (!(column >= 0 && column < p.width && row >= 0 && row < p.height)) return null;
      const at = 4 * (row * p.width + column);
      if (p.data[at + 3] === 0) return 0;
      let best = 0, least = Infinity;
      this.ramp.forEach((colour, i) => {
        const off = colour.reduce((sum, part, k) => sum + (part - p.data[at + k]) ** 2, 0);
        if (off < least) [best, least] = [i, off];
      });
      return s.low * (s.high / s.low) ** (best / (this.ramp.length - 1));
    }
  }

  const clipped = (u, draw) => {
    const {ctx, bbox} = u;
    ctx.save();
    ctx.beginPath();
    ctx.rect(bbox.left, bbox.top, bbox.width, bbox.height);
    ctx.clip();
    draw(ctx, bbox, devicePixelRatio);
    ctx.restore();
  };

  const drawBands = (u, spec) => clipped(u, (ctx, bbox) => {
    ctx.fillStyle = theme.band;
    for (const [from, to] of spec.bands) {
      const x = u.valToPos(from, 'x', true);
      ctx.fillRect(x, bbox.top, u.valToPos(to, 'x', true) - x, bbox.height);
    }
  });

  const drawOutlines = (u, spec) => clipped(u, (ctx, bbox, ratio) => {
    ctx.setLineDash([]);
    for (const outline of spec.outlines) {
      ctx.beginPath();
      for (const [x, y] of outline.points) {
        ctx.lineTo(u.valToPos(x, 'x', true), u.valToPos(y, 'y', true));
      }
      if (outline.closed) ctx.closePath();
      const inks = spec.backdrop ? [['#fffc', 4], [theme.over[outline.ink], 2]]
                                 : [[theme.c[outline.ink], 2]];
      for (const [colour, width] of inks) {
        ctx.strokeStyle = colour;
        ctx.lineWidth = width * ratio;
        ctx.stroke();
      }
    }
  });

  const drawGuides = (u, spec) => clipped(u, (ctx, bbox, ratio) => {
    ctx.font = `${12 * ratio}px system-ui, sans-serif`;
    const label = (text, x, y) => {
      ctx.setLineDash([]);
      ctx.lineWidth = 3 * ratio;
      ctx.strokeStyle = theme.panel;
      ctx.strokeText(text, x, y);
      ctx.fillText(text, x, y);
    };
    for (const guide of spec.guides) {
      const at = u.valToPos(guide.value, guide.axis, true);
      const across = guide.axis === 'x';
      ctx.strokeStyle = ctx.fillStyle = theme.c[guide.ink];
      ctx.lineWidth = 1.4 * ratio;
      ctx.setLineDash(guide.dashed ? [6 * ratio, 4 * ratio] : []);
      ctx.beginPath();
      ctx.moveTo(across ? at : bbox.left, across ? bbox.top : at);
      ctx.lineTo(across ? at : bbox.left + bbox.width, across ? bbox.top + bbox.height : at);
      ctx.stroke();
      const right = across && at < bbox.left + bbox.width / 2;
      ctx.textAlign = right ? 'left' : 'right';
      if (across) {
        label(guide.label, at + (right ? 4 : -4) * ratio, bbox.top + 14 * ratio);
      } else {
        label(guide.label, bbox.left + bbox.width - 4 * ratio, at - 4 * ratio);
      }
    }
  });

  // The library's own search for the ticks of a logarithmic axis does not end for every range.
  const logarithmic = {
    splits: (u, axis, min, max) => {
      const ticks = [];
      for (let power = Math.floor(Math.log10(min)); power <= Math.log10(max); ++power) {
        for (let digit = 1; digit < 10; ++digit) ticks.push(Number(`${digit}e${power}`));
      }
      const inside = ticks.filter((v) => v >= min && v <= max);
      return inside.length > 1 ? inside : [min, max];
    },
    filter: (u, ticks) => ticks.length < 10
        ? ticks : ticks.map((v) => Number.isInteger(Math.log10(v)) ? v : null),
  };

  const axes = (spec) => {
    // A grid would hide the cells below it.
    const shared = () => ({stroke: theme.ink,
                           grid: {show: !spec.backdrop, stroke: theme.grid, width: 1},
                           ticks: {stroke: theme.frame, width: 1, size: 5}, font: '12px system-ui',
                           labelFont: '12px system-ui', labelSize: 18, labelGap: 0});
    const numbers = (u, values) => values.map((v) => {
      if (v == null) return null;
      const size = Math.abs(v);
      return size !== 0 && (size < 1e-3 || size >= 1e6) ? v.toExponential().replace('e+', 'e')
                                                        : short(v);
    });
    const x = {...shared(), label: spec.x.label, size: 34, space: 70, values: numbers};
    const y = {...shared(), label: spec.y.label, size: kAxisGap - 14, values: numbers};
    if (spec.x.log) Object.assign(x, logarithmic);
    if (spec.y.log) Object.assign(y, logarithmic);
    if (spec.x.categories) {
      x.splits = () => spec.x.categories.map((_, i) => i);
      x.values = (u, values) => values.map((v) => spec.x.categories[v] ?? '');
    }
    if (spec.x.second) {
      const {factor, label} = spec.x.second;
      x.label = `${spec.x.label} / ${label}`;
      x.size = 48;
      x.values = (u, values) => values.map((v) => v == null ? null
                                                            : `${short(v)}\n${short(v * factor)}`);
    }
    return [x, y];
  };

  const seriesOptions = (spec) => [{label: spec.x.label, value: (u, v) => short(v)}].concat(
      spec.series.map((s) => {
        const colour = theme.c[s.ink];
        const options = {label: s.name || spec.y.label, stroke: colour, width: 1.4, spanGaps: false,
                         points: {show: false}, value: (u, v) => short(v)};
        if (s.style === 'dashed') options.dash = [6, 4];
        if (s.style === 'step') {
          options.paths = uPlot.paths.stepped({align: 1});
          options.fill = colour + '40';
        }
        if (s.style === 'bars') {
          options.paths = uPlot.paths.bars({size: [0.6, 200]});
          options.fill = colour;
        }
        if (s.style === 'points') {
          options.paths = () => null;
          options.points = {show: true, size: 5, fill: colour};
        }
        return options;
      }));

  // All series on one abscissa; what a series doesn't have there is left out and no gap.
  const table = (spec) => spec.series.length === 0
      ? [[spec.x.low, spec.x.high]]
      : uPlot.join(spec.series.map((s) => [s.x, s.y]));

  // The series' own point nearest to the cursor.
  const nearest = (u, series, hovered) => {
    const values = u.data[series];
    for (let off = 0; off < values.length; ++off) {
      if (values[hovered - off] != null) return hovered - off;
      if (values[hovered + off] != null) return hovered + off;
    }
    return hovered;
  };

  const readOut = (u, spec, picture, output) => {
    const {left, top} = u.cursor;
    if (!(left >= 0 && top >= 0)) {
      output.textContent = 'drag to zoom, double click for all';
      return;
    }
    const x = u.posToVal(left, 'x'), y = u.posToVal(top, 'y');
    const parts = [`${spec.x.label}: ${x.toPrecision(5)}`];
    if (spec.x.second) {
      parts.push(`${spec.x.second.label}: ${(x * spec.x.second.factor).toPrecision(5)}`);
    }
    parts.push(`${spec.y.label}: ${y.toPrecision(4)}`);
    if (picture) {
      const value = picture.valueAt(x, y);
      if (value === 0) parts.push(`no ${spec.backdrop.unit}`);
      if (value) parts.push(`${spec.backdrop.unit}: about ${value.toPrecision(2)}`);
    }
    output.textContent = parts.join(', ');
  };

  class InteractiveChart {
    constructor(figure) {
      this.figure = figure;
      this.plot = figure.querySelector('.plot');
      this.output = figure.querySelector('output');
      this.spec = JSON.parse(figure.querySelector('script').textContent);
      const svg = this.plot.querySelector('svg');
      this.picture = this.spec.backdrop && new Picture(this.spec.backdrop,
                                                       svg.querySelector('image'));
    }
    async build() {
      if (this.picture) await this.picture.ready;
      const spec = this.spec, scale = (axis) => ({
        time: false, auto: false, distr: axis.log ? 3 : 1, min: axis.low, max: axis.high,
        range: (u, min, max) => [min, max]});
      const all = () => {
        for (const key of ['x', 'y']) {
          this.chart.setScale(key, {min: spec[key].low, max: spec[key].high});
        }
      };
      this.chart?.destroy();
      this.plot.replaceChildren();
      this.chart = new uPlot({
        width: this.plot.clientWidth, height: spec.height, axes: axes(spec),
        scales: {x: scale(spec.x), y: scale(spec.y)}, series: seriesOptions(spec),
        legend: {show: spec.series.some((s) => s.name)},
        cursor: {drag: {x: true, y: true, uni: 30}, dataIdx: nearest, points: {size: 6},
                 bind: {dblclick: () => () => { all(); return null; }}},
        hooks: {
          drawClear: [(u) => { this.picture?.draw(u); drawBands(u, spec); }],
          draw: [(u) => { drawGuides(u, spec); drawOutlines(u, spec); }],
          setCursor: [(u) => readOut(u, spec, this.picture, this.output)],
        },
      }, table(spec), this.plot);
      readOut(this.chart, spec, this.picture, this.output);
      this.figure.classList.add('drawn');
      this.figure.dataset.points = spec.series.reduce((sum, s) => sum + s.x.length, 0);
    }
    resize() {
      const width = this.plot.clientWidth;
      if (this.chart && width > 0 && width !== this.chart.width) {
        this.chart.setSize({width, height: this.spec.height});
      }
    }
  }

  readTheme();
  const charts = [...document.querySelectorAll('figure')].map((f) => new InteractiveChart(f));
  // The interactive legend shows outlines by nothing but their colour, so theirs stays.
  for (const chart of charts) {
    const legend = chart.figure.querySelector('.legend');
    if (legend && chart.spec.series.length > 0) {
      [...legend.children].slice(0, chart.spec.series.filter((s) => s.name).length)
          .forEach((item) => item.remove());
    }
  }
  const buildAll = () => Promise.all(charts.map((chart) => chart.build()));
  buildAll().then(() => { document.documentElement.dataset.charts = charts.length; });
  matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => {
    readTheme();
    buildAll();
  });
  new ResizeObserver(() => charts.forEach((chart) => chart.resize())).observe(document.body);
})();
