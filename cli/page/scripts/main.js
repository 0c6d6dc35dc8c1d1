// The page: what is selected, its address, and what the keys and buttons do. Every text goes into the page as
// text, so what is in an event cannot become part of the page.

const store = new Store();
const reading = new FileReading(store);
const state = {
  filter: '',
  sort: {name: 'time', isDown: false}
};
let query = parseQuery('');
let selected = new Uint32Array();  // indexes, in the order of time
let shown = [];                    // events, in the order of the table

// Returns the selected indexes in the order of the table.
function inOrder() {
  if (state.sort.name === 'time') return selected;
  const isSelected = new Uint8Array(store.size);
  for (const i of selected) isSelected[i] = 1;
  return store.order(state.sort.name).filter(i => isSelected[i]);
}

// Selects again.
function refresh() {
  query = parseQuery(state.filter);
  selected = select(query, store);
  draw();
  if (query.faults.length > 0)
    say(`${query.faults.join('. ')}. This is left out.`, true);
  else if (selected.length === 0 && store.size > 0)
    say(`None of ${counted(store.size, 'event')} has all of this. Take a term away, or clear the filter.`);
  else
    say('');
}
function draw() {
  const sort = {name: state.sort.name, isDown: state.sort.isDown !== query.isReversed};
  const order = inOrder();
  shown = Array.from(sort.isDown ? order.toReversed() : order, i => store.events[i]);
  at('count').textContent = `${grouped(selected.length)} of ${grouped(store.size)}`;
  at('welcome').hidden = store.size > 0;
  at('found').hidden = store.size === 0;
  table.draw(shown, sort);
  plot.draw(store, selected);
  tops.draw(store, selected);
  at('save-csv').disabled = at('save-json').disabled = selected.length === 0;
}
function say(text, isWrong = false) {
  at('message').textContent = text;
  at('message').className = isWrong ? 'wrong' : '';
  at('filter').ariaInvalid = String(isWrong);
}

function setFilter(text) {
  at('filter').value = state.filter = text;
  refresh();
  writeAddress();
}
const addTerm = term => setFilter(state.filter.trim() === '' ? term : `${state.filter.trim()} ${term}`);

// The address has the selection after its "#".
function writeAddress() {
  const parts = new URLSearchParams();
  if (state.filter.trim() !== '') parts.set('filter', state.filter.trim());
  if (state.sort.name !== 'time' || state.sort.isDown)
    parts.set('sort', (state.sort.isDown ? '-' : '') + state.sort.name);
  if (tops.label !== '') parts.set('label', tops.label);
  history.replaceState(null, '', '#' + parts);
}
function readAddress() {
  const parts = new URLSearchParams(location.hash.slice(1)),
        sort = /^(-?)([a-z]+)$/.exec(parts.get('sort') ?? '');
  if (sort && kColumns.some(column => column.name === sort[2]))
    state.sort = {name: sort[2], isDown: sort[1] === '-'};
  tops.label = parts.get('label') ?? '';
  at('filter').value = state.filter = parts.get('filter') ?? '';
  refresh();
}

async function take(files) {
  say('Reading the files...');
  await reading.read(await files, (done, all) => say(`Read ${grouped(done)} of ${counted(all, 'file')}...`));
  tops.nameLabels(store);
  refresh();
  store.prepare();
  const {passedOver} = reading, most = 1000;
  at('passed-over').hidden = passedOver.length === 0;
  at('passed-over').querySelector('summary').textContent =
      `${counted(passedOver.length, 'file')} passed over`;
  at('passed-over')
      .querySelector('ul')
      .replaceChildren(
          ...passedOver.slice(0, most).map(({path, why}) => make('li', `${path}: ${why}`)),
          ...(passedOver.length > most ? [make('li', `and ${grouped(passedOver.length - most)} more`)] : []));
}

const table =
    new Table(at('heads'), at('rows'), {back: at('back'), on: at('on'), place: at('place')}, name => {
      state.sort = {name, isDown: name === state.sort.name && !state.sort.isDown};
      draw();
      writeAddress();
    }, place => details.show(shown, place));
const details =
    new Details(at('details'), JSON.parse(at('notes').textContent), addTerm, place => table.focus(place));
const plot =
    new Plot(at('plot'), at('axis'), at('plot-note'), fields => setFilter(withFields(state.filter, fields)));
const tops = new Tops(at('tops'), addTerm, writeAddress);

let pause = 0;  // browsers refuse a new address at every key
at('filter').oninput = () => {
  state.filter = at('filter').value;
  refresh();
  clearTimeout(pause);
  pause = setTimeout(writeAddress, 300);
};
at('clear').onclick = () => setFilter('');
at('whole').onclick = () => setFilter(withFields(state.filter, {since: null, until: null}));
at('scale').onchange = () => plot.setLogarithmic(at('scale').value === 'log');
at('save-csv').onclick = () => saveAs('events.csv', 'text/csv', csvOfEvents(shown));
at('save-json').onclick = () => saveAs('events.jsonl', 'application/x-ndjson', jsonOfEvents(shown));
at('help').onclick = () => at('terms').showModal();
at('terms-close').onclick = () => at('terms').close();
for (const name of ['files', 'folder']) {
  for (const button of document.querySelectorAll(`[data-open=${name}]`))
    button.onclick = () => at(name).click();
  at(name).onchange = () => take(filesOfInput(at(name)));
}
at('theme').onclick = () => {
  const root = document.documentElement.dataset;
  const dark = root.theme ? root.theme === 'dark' : matchMedia('(prefers-color-scheme: dark)').matches;
  root.theme = dark ? 'light' : 'dark';
};
document.ondragover = drag => {
  drag.preventDefault();
  document.body.classList.add('dropping');
};
document.ondragleave = drag => {
  if (drag.relatedTarget === null) document.body.classList.remove('dropping');
};
document.ondrop = drop => {
  drop.preventDefault();
  document.body.classList.remove('dropping');
  take(filesOfDrop(drop.dataTransfer, (path, why) => reading.passOver(path, why)));
};
document.onkeydown = key => {
  if (key.key !== '/' || document.activeElement === at('filter') || document.querySelector('dialog[open]'))
    return;
  at('filter').focus();
  key.preventDefault();
};
window.onhashchange = readAddress;

for (const event of JSON.parse(at('data').textContent)) store.add(event);
tops.nameLabels(store);
readAddress();
setTimeout(() => store.prepare(), 100);
