// The table of the selected events, in pages.

const kColumns = [
  {name: 'time', title: 'Time', of: event => event['@timestamp'] ?? ''},
  {name: 'severity', title: 'Severity', of: event => event.event.severity ?? '', isNumber: true},
  {name: 'id', title: 'Identifier', of: event => event.event.code ?? '', isNumber: true},
  {name: 'event', title: 'Event', of: event => event.event.action},
  {name: 'product', title: 'Product', of: event => event.observer?.product ?? ''},
  {name: 'host', title: 'Machine', of: event => event.host?.name ?? ''},
];
const kRowsOfPage = 200;

class Table {
  #head;
  #body;
  #open;
  #page = 0;
  #events = [];
  #pages = {};

  // sort(name) is called for a click on a column's head, open(place) for a row.
  constructor(head, body, pages, sort, open) {
    this.#head = head;
    this.#body = body;
    this.#pages = pages;
    this.#open = open;
    head.replaceChildren(...kColumns.map(column => {
      const cell = make('th', '', {scope: 'col', className: column.isNumber ? 'number' : ''});
      cell.append(make('button', column.title, {type: 'button', onclick: () => sort(column.name)}));
      return cell;
    }));
    pages.back.onclick = () => this.#turn(this.#page - 1);
    pages.on.onclick = () => this.#turn(this.#page + 1);
    body.onkeydown = key => this.#walk(key);
    body.onclick = click => this.#openRow(click.target.closest('tr'));
  }
  draw(events, sort) {
    this.#events = events;
    [...this.#head.children].forEach((cell, i) => {
      const isSorted = kColumns[i].name === sort.name;
      cell.ariaSort = !isSorted ? 'none' : sort.isDown ? 'descending' : 'ascending';
      cell.firstChild.textContent = kColumns[i].title +
          (!isSorted       ? '' :
               sort.isDown ? ' \u2193' :
                             ' \u2191');
    });
    this.#turn(0);
  }
  // Shows and focuses the row of an event.
  focus(place) {
    const page = Math.floor(place / kRowsOfPage);
    if (page !== this.#page) this.#turn(page);
    this.#focusRow(this.#body.children[place % kRowsOfPage] ?? this.#body.firstChild);
  }
  #turn(page) {
    const pages = Math.max(1, Math.ceil(this.#events.length / kRowsOfPage));
    this.#page = Math.min(Math.max(page, 0), pages - 1);
    this.#pages.place.textContent = `Page ${grouped(this.#page + 1)} of ${grouped(pages)}`;
    this.#pages.back.disabled = this.#page === 0;
    this.#pages.on.disabled = this.#page === pages - 1;
    const first = this.#page * kRowsOfPage;
    this.#body.replaceChildren(...this.#events.slice(first, first + kRowsOfPage).map((event, i) => {
      const row = make('tr', '', {tabIndex: i === 0 ? 0 : -1});
      row.append(...kColumns.map(
          column => make('td', String(column.of(event)), {className: column.isNumber ? 'number' : ''})));
      return row;
    }));
  }
  #walk(key) {
    const row = key.target.closest('tr'), rows = this.#body;
    const to = {
      ArrowDown: row.nextElementSibling,
      ArrowUp: row.previousElementSibling,
      Home: rows.firstChild,
      End: rows.lastChild
    }[key.key];
    if (to)
      this.#focusRow(to);
    else if (key.key === 'Enter')
      this.#openRow(row);
    else
      return;
    key.preventDefault();
  }
  // Only one row is in the order of the Tab key.
  #focusRow(row) {
    if (!row) return;
    for (const other of this.#body.querySelectorAll('[tabindex="0"]')) other.tabIndex = -1;
    row.tabIndex = 0;
    row.focus();
  }
  #openRow(row) {
    if (row) this.#open(this.#page * kRowsOfPage + [...this.#body.children].indexOf(row));
  }
}
