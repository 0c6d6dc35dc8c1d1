// All events of the page, with one list for each property, because a filter looks at all events at every key.

// Texts by number, so that a filter tests each different text once. -1: no text.
class Texts {
  list = [];
  #numbers = new Map();

  numberOf(text) {
    if (text === undefined) return -1;
    let number = this.#numbers.get(text);
    if (number === undefined) {
      number = this.list.push(text) - 1;
      this.#numbers.set(text, number);
    }
    return number;
  }
}

class Store {
  events = [];
  time = [];      // seconds; NaN: none
  severity = [];  // NaN: none
  id = [];        // NaN: none
  texts = {event: new Texts(), product: new Texts(), host: new Texts()};
  event = [];  // numbers in texts.event, and so on
  product = [];
  host = [];
  labels = new Map();  // a column for each label's name: the events that have it, and their values as numbers
                       // of texts
  #lower = [];         // all texts of an event in lower case
  #orders = new Map();

  get size() {
    return this.events.length;
  }
  add(event) {
    this.events.push(event);
    this.time.push(event['@timestamp'] === undefined ? NaN : Date.parse(event['@timestamp']) / 1000);
    this.severity.push(event.event.severity ?? NaN);
    const code = event.event.code ?? '';
    this.id.push(isNumber(code) ? Number(code) : NaN);
    this.event.push(this.texts.event.numberOf(event.event.action));
    this.product.push(this.texts.product.numberOf(event.observer?.product));
    this.host.push(this.texts.host.numberOf(event.host?.name));
    for (const label of Object.keys(event.labels)) this.#addLabel(label, event.labels[label]);
    this.#orders.clear();
  }
  // Returns all texts of an event in lower case.
  lower(i) {
    while (this.#lower.length <= i)
      this.#lower.push(
          flat(this.events[this.#lower.length]).map(([, text]) => text).join('\n').toLowerCase());
    return this.#lower[i];
  }
  get isPrepared() {
    return this.#lower.length === this.size;
  }
  // Makes the texts in lower case while nothing else is to be done, so that the first search need not.
  prepare() {
    if (this.isPrepared) return;
    const pause = performance.now() + 20;
    while (!this.isPrepared && performance.now() < pause) this.lower(this.#lower.length);
    setTimeout(() => this.prepare());
  }
  // Returns the indexes of all events in ascending order of a property, equal ones as they were read. Events
  // without a value are the first.
  order(property) {
    if (!this.#orders.has(property)) {
      const values = Object.hasOwn(this.texts, property) ?
          this.#ranks(property) :
          this[property].map(value => isNaN(value) ? -Infinity : value);
      this.#orders.set(
          property, Uint32Array.from(this.events.keys()).sort((a, b) => values[a] - values[b] || a - b));
    }
    return this.#orders.get(property);
  }
  // Returns the place of each event's text among all texts in their order.
  #ranks(property) {
    const list = this.texts[property].list,
          sorted = [...list.keys()].sort((a, b) => list[a] < list[b] ? -1 : 1), ranks = [];
    sorted.forEach((number, rank) => {
      ranks[number] = rank;
    });
    return this[property].map(number => number < 0 ? -1 : ranks[number]);
  }
  #addLabel(label, value) {
    let column = this.labels.get(label);
    if (!column) this.labels.set(label, column = {texts: new Texts(), events: [], numbers: []});
    column.events.push(this.size - 1);
    column.numbers.push(column.texts.numberOf(value));
  }
  // Returns the columns of the labels that NAME=TEXT means.
  columnsNamed(name) {
    return [...this.labels].filter(([label]) => isLabelNamed(lowerAscii(label), name)).map(([
                                                                                             , column
                                                                                           ]) => column);
  }
}

// Returns the paths and texts of an event.
function flat(value, path = '', found = []) {
  for (const name of Object.keys(value)) {
    const inner = value[name], innerPath = path === '' ? name : `${path}.${name}`;
    if (inner !== null && typeof inner === 'object')
      flat(inner, innerPath, found);
    else
      found.push([innerPath, String(inner)]);
  }
  return found;
}
