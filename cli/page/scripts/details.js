// The details of one event, with what a catalogue says about it.

const own = (object, key) => object !== undefined && Object.hasOwn(object, key) ? object[key] : undefined;

// Returns what is known of a row: names of events by identifier, and texts by event and label.
function noteOf(notes, event, path) {
  if (path === 'event.code') return own(notes.names, event.event.code);
  const known = own(notes.events, event.event.action);
  if (path === 'event.action') return known?.text;
  const label = path.startsWith('labels.') ? path.slice('labels.'.length) : '';
  return own(known?.labels, label) ?? own(known?.labels, label.replace(/(_\d+)+$/, ''));
}

// Returns a term that selects events with this value; undefined for a path that no field of the filter has.
function termOf(path, value) {
  const field = {
    'event.action': 'event',
    'event.code': 'id',
    'event.severity': 'severity',
    'observer.product': 'product',
    'host.name': 'host'
  }[path];
  if (field && value !== '') return `${field}:${quoted(value)}`;
  return path.startsWith('labels.') ? termOfLabel(path.slice('labels.'.length), value) : undefined;
}

class Details {
  #place = 0;
  #events = [];

  // choose(term) adds a term to the filter; closed(place) is called with the place of the event that was
  // shown last.
  constructor(dialog, notes, choose, closed) {
    this.dialog = dialog;
    this.notes = notes;
    this.choose = choose;
    dialog.onclose = () => closed(this.#place);
    dialog.onkeydown = key => {
      const step = {ArrowLeft: -1, ArrowRight: 1}[key.key];
      if (step && !key.altKey && !key.ctrlKey) this.show(this.#events, this.#place + step);
    };
    at('close').onclick = () => dialog.close();
    at('earlier').onclick = () => this.show(this.#events, this.#place - 1);
    at('later').onclick = () => this.show(this.#events, this.#place + 1);
  }
  show(events, place) {
    if (place < 0 || place >= events.length) return;
    this.#events = events;
    this.#place = place;
    at('earlier').disabled = place === 0;
    at('later').disabled = place === events.length - 1;
    at('name').textContent = events[place].event.action;
    at('facts').replaceChildren(
        ...flat(events[place]).flatMap(([path, text]) => this.#fact(events[place], path, text)));
    if (!this.dialog.open) this.dialog.showModal();
    at('name').focus();
    this.dialog.scrollTop = 0;
  }
  #fact(event, path, text) {
    const name = make('dt', ''), value = make('dd', text), known = noteOf(this.notes, event, path),
          term = termOf(path, text);
    name.append(term === undefined ? path : make('button', path, {
      type: 'button',
      title: 'Select the events that have the same',
      onclick: () => {
        this.dialog.close();
        this.choose(term);
      }
    }));
    if (known) value.append(make('div', known, {className: 'note'}));
    return [name, value];
  }
}
