// The most frequent values of the selected events, each with its share. A click adds the value to the filter.

const kTopFields = [
  ['event', 'Event'], ['product', 'Product'], ['host', 'Machine'], ['severity', 'Severity'],
  ['id', 'Identifier']
];
const kTopRows = 5, kMoreTopRows = 50;

// Returns the values of a property with their counts, the most frequent first.
function countField(store, selected, name) {
  const counts = new Map(), values = store[name], texts = store.texts[name]?.list;
  for (const i of selected) counts.set(values[i], (counts.get(values[i]) ?? 0) + 1);
  const known = [...counts].filter(([value]) => texts ? value >= 0 : !isNaN(value));
  return inOrderOfCount(known.map(([value, count]) => [texts ? texts[value] : String(value), count]));
}
const inOrderOfCount = counts => counts.sort((a, b) => b[1] - a[1] || (a[0] < b[0] ? -1 : 1));

// The same for the labels that have this name, as a filter's NAME=TEXT finds them.
function countLabel(store, selected, name) {
  const marks = new Uint8Array(store.size), counts = new Map();
  for (const i of selected) marks[i] = 1;
  for (const {texts, events, numbers} of store.columnsNamed(lowerAscii(name)))
    for (let i = 0; i < events.length; ++i)
      if (marks[events[i]]) counts.set(texts.list[numbers[i]], (counts.get(texts.list[numbers[i]]) ?? 0) + 1);
  return inOrderOfCount([...counts]);
}

class Tops {
  #place;
  #choose;
  #open = new Set();  // lists that show more rows
  #draw = () => {};
  label = '';

  // choose(term) is called with a value's term for the filter; change() when another label is chosen.
  constructor(place, choose, change) {
    this.#place = place;
    this.#choose = choose;
    this.chooser = make('select', '', {
      ariaLabel: 'Attribute or child',
      onchange: () => {
        this.label = this.chooser.value;
        change();
        this.#draw();
      }
    });
  }
  // Call it when there are new events.
  nameLabels(store) {
    const names =
        [...new Set([...store.labels.keys()].map(name => name.replace(/_[0-9]+$/, '')))].sort().slice(
            0, 1000);
    this.chooser.replaceChildren(
        make('option', 'attribute or child', {value: ''}),
        ...names.map(name => make('option', name, {value: name})));
  }
  draw(store, selected) {
    this.#draw = () => {
      const focused = [...this.#place.querySelectorAll('button, select')].indexOf(document.activeElement);
      this.chooser.value = this.label;
      const lists = kTopFields.map(
          ([name, title]) => this.#list(
              name, make('h2', title), countField(store, selected, name), selected.length,
              value => `${name}:${quoted(value)}`));
      const values = this.label === '' ? [] : countLabel(store, selected, this.label);
      lists.push(this.#list(
          'label', this.chooser, values, selected.length, value => termOfLabel(this.label, value)));
      this.#place.replaceChildren(...lists);
      const controls = this.#place.querySelectorAll('button, select');
      if (focused >= 0) controls[Math.min(focused, controls.length - 1)].focus();
    };
    this.#draw();
  }
  #list(name, title, values, all, termOf) {
    const list = make('ul', ''), most = this.#open.has(name) ? kMoreTopRows : kTopRows;
    for (const [value, count] of values.slice(0, most)) {
      const share = Math.round(count / all * 1000) / 10, bar = make('span', '', {className: 'share'});
      bar.style.width = `${share}%`;
      const button = make('button', '', {
        type: 'button',
        title: `${value}: ${counted(count, 'event')}, ${share} %`,
        onclick: () => this.#choose(termOf(value))
      });
      button.append(
          bar, make('span', value === '' ? '(empty)' : value, {className: 'value'}),
          make('span', grouped(count), {className: 'number'}));
      list.append(make('li', ''));
      list.lastChild.append(button);
    }
    const part = make('section', '');
    part.append(title, list);
    if (values.length > kTopRows) part.append(this.#moreButton(name, values.length));
    return part;
  }
  #moreButton(name, count) {
    const isOpen = this.#open.has(name), text = isOpen ? 'Fewer' : `${grouped(count - kTopRows)} more`;
    return make('button', text, {
      type: 'button',
      className: 'more',
      ariaExpanded: String(isOpen),
      onclick: () => {
        if (isOpen)
          this.#open.delete(name);
        else
          this.#open.add(name);
        this.#draw();
      }
    });
  }
}
