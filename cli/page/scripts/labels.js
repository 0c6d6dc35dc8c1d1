// Lines and labels of events, as in the program's JSON (eventfile/event_labels.h). Lengths are those of the
// JSON text.

// What an event leaves out.
class LeftOut {
  fields = 0;
  labels = 0;
  texts = 0;
  events = 0;

  words() {
    return [
      [this.fields, 'fields: '], [this.labels, 'labels: '], [this.texts, 'cut texts: '],
      [this.events, 'events before this one: ']
    ].filter(([count]) => count > 0)
        .map(([count, what]) => what + count)
        .join(', ');
  }
}

// One JSON object of limited length. A member that does not fit is left out. Names may be "__proto__", so the
// objects have no prototype.
class Line {
  #open = [Object.create(null)];
  #isFirst = true;
  length = 1;

  constructor(limit) {
    this.limit = limit;
  }
  get object() {
    return this.#open[0];
  }
  enter(name) {
    const inner = Object.create(null);
    this.#append(name, inner, this.#lengthOf(name) + 1);
    this.#open.push(inner);
    this.#isFirst = true;
  }
  leave() {
    this.#open.pop();
    this.close();
  }
  close() {
    this.length += 1;
    this.#isFirst = false;
  }
  // Return false if the member does not fit.
  text(name, value) {
    const shown = printable(value);
    return this.add(name, shown, jsonTextLength(shown));
  }
  add(name, value, length) {
    const all = this.#lengthOf(name) + length;
    if (this.length + all > this.limit) return false;
    this.#append(name, value, all);
    return true;
  }
  #lengthOf(name) {
    return (this.#isFirst ? 0 : 1) + jsonTextLength(printable(name)) + 1;
  }
  #append(name, value, length) {
    this.#open.at(-1)[printable(name)] = value;
    this.length += length;
    this.#isFirst = false;
  }
}

// The labels that all events of a document share.
class SharedLabels {
  list = [];
  leftOut = new LeftOut();
  #bytes = 0;

  add(path, text) {
    path = cut(path);
    const kept = cut(text), bytes = byteLength(path) + byteLength(kept);
    if (this.leftOut.labels > 0 || this.list.length === rules.mostLabels ||
        this.#bytes + bytes > rules.longestLine) {
      ++this.leftOut.labels;
      return;
    }
    this.#bytes += bytes;
    const shown = printable(kept);
    this.list.push({path, shown, length: jsonTextLength(shown)});
    if (kept.length < text.length) ++this.leftOut.texts;
  }
}

// Adds the labels of one event to the object that is open in a line.
class Labels {
  #line;
  #leftOut;
  #count = 1;  // includes "left_out"
  #isFull = false;
  #taken = new Set(['left_out']);
  #last = new Map();  // the last number given to a name

  constructor(line, leftOut) {
    this.#line = line;
    this.#leftOut = leftOut;
  }
  add(path, text) {
    const kept = cut(text), shown = printable(kept);
    this.#put(cut(path), shown, jsonTextLength(shown));
    if (!this.#isFull && kept.length < text.length) ++this.#leftOut.texts;
  }
  addShared(shared) {
    for (const {path, shown, length} of shared.list) this.#put(path, shown, length);
    this.#leftOut.labels += shared.leftOut.labels;
    this.#leftOut.texts += shared.leftOut.texts;
  }
  #put(path, shown, length) {
    const isIn =
        !this.#isFull && this.#count < rules.mostLabels && this.#line.add(this.#nameFor(path), shown, length);
    this.#isFull = !isIn;
    if (isIn)
      ++this.#count;
    else
      ++this.#leftOut.labels;
  }
  #nameFor(path) {
    const first = path.replaceAll('.', '_');
    let name = first;
    while (this.#taken.has(name)) {
      const number = (this.#last.get(first) ?? 1) + 1;
      this.#last.set(first, number);
      name = `${first}_${number}`;
    }
    this.#taken.add(name);
    return name;
  }
}

// Call labels.add(path, text) for the attributes of an element, or for the element and everything below it.
function walkAttributes(path, element, labels) {
  for (const [name, value] of element.attributes) labels.add(path + name, value);
}
function walkElement(path, element, labels) {
  const inner = path + element.name;
  if (!isBlank(element.text) || (element.children.length === 0 && element.attributes.length === 0))
    labels.add(inner, element.text);
  walkAttributes(inner + '_', element, labels);
  for (const child of element.children) walkElement(inner + '_', child, labels);
}
