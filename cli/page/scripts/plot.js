// The plot: a row for each severity, a bar for each span of time. Bars and ranges of time select events.

const kSteps = [
  1,    2,    5,    10,    15,    30,    60,   120,      300,      600,       900,
  1800, 3600, 7200, 10800, 21600, 43200, kDay, 2 * kDay, 7 * kDay, 14 * kDay, 28 * kDay
];
const kMostSpans = 60, kRowHeight = 34, kBarHeight = 20, kLabelWidth = 118, kTickWidth = 130, kDigitWidth = 6,
      kMostRows = 200;

// Returns the spans of the plot and the counts of each severity, the highest first: {first, step, spans,
// rows, without}.
function countSpans(store, selected) {
  let least = Infinity, most = -Infinity, without = 0;
  for (const i of selected) {
    if (isNaN(store.time[i])) ++without;
    if (store.time[i] < least) least = store.time[i];
    if (store.time[i] > most) most = store.time[i];
  }
  if (most < least) return {first: 0, step: 1, spans: 0, rows: [], without};
  const wanted = (most - least + 1) / (kMostSpans - 1),
        step = kSteps.find(size => size >= wanted) ?? Math.ceil(wanted / kDay) * kDay;
  const first = Math.floor(least / step) * step, spans = Math.floor((most - first) / step) + 1,
        rows = new Map();
  for (const i of selected) {
    if (isNaN(store.time[i])) continue;
    let row = rows.get(store.severity[i]);
    if (!row)
      rows.set(
          store.severity[i], row = {severity: store.severity[i], total: 0, counts: new Uint32Array(spans)});
    ++row.total;
    ++row.counts[Math.floor((store.time[i] - first) / step)];
  }
  // Events without a severity are the last row.
  return {
    first,
    step,
    spans,
    rows:
        [...rows.values()].sort((a, b) => (isNaN(a.severity) - isNaN(b.severity)) || b.severity - a.severity),
    without
  };
}

// Returns a number in at most four characters.
function shortNumber(number) {
  for (const [size, unit] of [[1e9, 'G'], [1e6, 'M'], [1e3, 'k']])
    if (number >= size)
      return (number < 10 * size ? (Math.floor(number / size * 10) / 10).toFixed(1) :
                                   Math.floor(number / size)) +
          unit;
  return String(number);
}

class Plot {
  #svg;
  #axis;
  #note;
  #choose;
  #data = {spans: 0, rows: []};
  #isLogarithmic = false;
  #width = 0;
  #anchor = -1;  // the span at which a range of time begins; -1: none
  #head = -1;    // the span at which it ends

  // choose(fields) is called with the fields of the filter for a bar, a row's label or a range of time.
  constructor(svg, axis, note, choose) {
    this.#svg = svg;
    this.#axis = axis;
    this.#note = note;
    this.#choose = choose;
    svg.onpointerdown = pointer => this.#begin(pointer);
    svg.onpointermove = pointer => this.#move(pointer);
    svg.onpointerup = pointer => this.#end(pointer);
    svg.onpointercancel = () => this.#mark(-1, -1);
    svg.onkeydown = key => this.#key(key);
    new ResizeObserver(() => {
      this.#width = svg.parentElement.clientWidth;
      this.#draw();
    }).observe(svg.parentElement);
  }
  draw(store, selected) {
    this.#data = countSpans(store, selected);
    const more = this.#data.rows.splice(kMostRows).length, {without} = this.#data;
    this.#note.textContent = 'Click a bar, or drag over a range of time.' +
        (more > 0 ? ` ${grouped(more)} more severities.` : '') +
        (without > 0 ? ` ${counted(without, 'event')} without a time.` : '');
    this.#draw();
  }
  setLogarithmic(isLogarithmic) {
    this.#isLogarithmic = isLogarithmic;
    this.#draw();
  }

  get #spanWidth() {
    return (this.#width - kLabelWidth) / Math.max(1, this.#data.spans);
  }
  #timeOf(span) {
    return this.#data.first + span * this.#data.step;
  }
  #draw() {
    this.#width ||= this.#svg.parentElement.clientWidth;
    const {rows, spans} = this.#data, width = this.#width, parts = [];
    this.#anchor = this.#head = -1;
    rows.forEach((row, number) => parts.push(...this.#row(row, number)));
    parts.push(drawn('rect', {id: 'range', y: 0, width: 0, height: rows.length * kRowHeight}));
    this.#svg.setAttribute('width', width);
    this.#svg.setAttribute('height', rows.length * kRowHeight);
    const isFocused = this.#svg.contains(document.activeElement);
    this.#svg.replaceChildren(...parts);
    const first = this.#svg.querySelector('.bar');
    first?.setAttribute('tabindex', 0);
    if (isFocused) first?.focus();
    this.#axis.replaceChildren(...this.#ticks(spans));
    this.#axis.setAttribute('width', width);
  }
  #row({severity, total, counts}, number) {
    const base = (number + 1) * kRowHeight - 1,
          name = isNaN(severity) ? 'no severity' : `severity ${severity}`;
    const label = drawn('text', {class: 'label', x: 0, y: base - 15}, name);
    if (!isNaN(severity)) label.onclick = () => this.#choose({severity: String(severity)});
    const parts = [
      label, drawn('text', {class: 'total', x: 0, y: base - 2}, grouped(total)),
      drawn('line', {class: 'axis', x1: kLabelWidth, x2: this.#width, y1: base, y2: base})
    ];
    const most = counts.reduce((a, b) => Math.max(a, b)),
          scale = this.#isLogarithmic ? count => Math.log1p(count) / Math.log1p(most) : count => count / most;
    counts.forEach((count, span) => {
      if (count > 0)
        parts.push(this.#bar(number, span, base, count, Math.max(2, scale(count) * kBarHeight), name));
    });
    return parts;
  }
  #bar(row, span, base, count, height, name) {
    const x = kLabelWidth + span * this.#spanWidth, text = shortNumber(count),
          wide = Math.max(1, this.#spanWidth - 1);
    const said = `${name}, ${momentText(this.#timeOf(span)).replace('T', ' ')} to ${
        momentText(this.#timeOf(span + 1)).replace('T', ' ')}: ${counted(count, 'event')}`;
    const bar = drawn('g', {
      class: 'bar',
      role: 'button',
      tabindex: -1,
      'aria-label': said,
      'data-row': row,
      'data-span': span,
      'data-count': count
    });
    bar.append(drawn('title', {}, said), drawn('rect', {x, y: base - height, width: wide, height}));
    if (text.length * kDigitWidth <= this.#spanWidth)
      bar.append(drawn('text', {x: x + wide / 2, y: base - height - 2, 'text-anchor': 'middle'}, text));
    return bar;
  }
  #ticks(spans) {
    const every = Math.ceil(kTickWidth / this.#spanWidth), ticks = [];
    for (let span = 0;
         span * this.#spanWidth <= spans * this.#spanWidth - kTickWidth || (span === 0 && spans > 0);
         span += every)
      ticks.push(drawn(
          'text', {x: kLabelWidth + span * this.#spanWidth, y: 13},
          shortTime(this.#timeOf(span), this.#data.step)));
    return ticks;
  }

  // Marks the spans from the one to the other.
  #mark(anchor, head) {
    this.#anchor = anchor;
    this.#head = head;
    const range = this.#svg.querySelector('#range');
    range?.setAttribute('x', kLabelWidth + Math.min(anchor, head) * this.#spanWidth);
    range?.setAttribute('width', anchor < 0 ? 0 : (Math.abs(head - anchor) + 1) * this.#spanWidth);
  }
  #chooseRange() {
    const [from, to] = [this.#anchor, this.#head].sort((a, b) => a - b);
    this.#choose(this.#fieldsOf(from, to));
  }
  #fieldsOf(from, to) {
    return {since: momentText(this.#timeOf(from)), until: momentText(this.#timeOf(to + 1))};
  }
  #chooseBar(bar) {
    const {severity} = this.#data.rows[bar.dataset.row], span = Number(bar.dataset.span),
          fields = this.#fieldsOf(span, span);
    this.#choose(isNaN(severity) ? fields : {severity: String(severity), ...fields});
  }

  #spanAt(pointer) {
    const x = pointer.clientX - this.#svg.getBoundingClientRect().left - kLabelWidth;
    return Math.min(this.#data.spans - 1, Math.max(0, Math.floor(x / this.#spanWidth)));
  }
  #begin(pointer) {
    const isBeside = pointer.clientX - this.#svg.getBoundingClientRect().left < kLabelWidth;
    if (pointer.button !== 0 || isBeside || this.#data.spans === 0) return;
    this.#svg.setPointerCapture(pointer.pointerId);
    this.#mark(this.#spanAt(pointer), this.#spanAt(pointer));
  }
  #move(pointer) {
    if (this.#anchor >= 0 && pointer.buttons === 1) this.#mark(this.#anchor, this.#spanAt(pointer));
  }
  // A click on a bar selects it; with the pointer in another span it was a drag.
  #end(pointer) {
    if (this.#anchor < 0) return;
    const bar = document.elementFromPoint(pointer.clientX, pointer.clientY)?.closest('.bar');
    if (this.#anchor !== this.#head)
      this.#chooseRange();
    else if (bar)
      this.#chooseBar(bar);
    this.#mark(-1, -1);
  }

  #key(key) {
    const bar = key.target.closest('.bar');
    if (!bar) return;
    const step = {ArrowLeft: -1, ArrowRight: 1}[key.key], rowStep = {ArrowUp: -1, ArrowDown: 1}[key.key];
    if (step && key.shiftKey)
      this.#extend(Number(bar.dataset.span), step);
    else if (step)
      this.#focus(this.#bars(bar.dataset.row), bar, step);
    else if (rowStep)
      this.#focusNearest(bar, rowStep);
    else if (key.key === 'Enter' || key.key === ' ')
      this.#anchor >= 0 ? this.#chooseRange() : this.#chooseBar(bar);
    else if (key.key === 'Escape' && this.#anchor >= 0)
      this.#mark(-1, -1);
    else
      return;
    key.preventDefault();
  }
  #extend(span, step) {
    const anchor = this.#anchor < 0 ? span : this.#anchor, head = this.#anchor < 0 ? span : this.#head;
    this.#mark(anchor, Math.min(this.#data.spans - 1, Math.max(0, head + step)));
  }
  #bars(row) {
    return [...this.#svg.querySelectorAll(`.bar[data-row="${row}"]`)];
  }
  #focus(bars, bar, step) {
    this.#focusBar(bars[bars.indexOf(bar) + step]);
  }
  #focusNearest(bar, rowStep) {
    const far = other => Math.abs(other.dataset.span - bar.dataset.span);
    this.#focusBar(this.#bars(Number(bar.dataset.row) + rowStep).sort((a, b) => far(a) - far(b))[0]);
  }
  // Only one bar is in the order of the Tab key.
  #focusBar(bar) {
    if (!bar) return;
    this.#svg.querySelector('.bar[tabindex="0"]')?.setAttribute('tabindex', -1);
    bar.setAttribute('tabindex', 0);
    bar.focus();
  }
}

function drawn(tag, attributes, text = '') {
  const made = document.createElementNS('http://www.w3.org/2000/svg', tag);
  for (const [name, value] of Object.entries(attributes)) made.setAttribute(name, value);
  made.textContent = text;
  return made;
}
