// The filter: terms as the program's options select events (docs/tool.md, "Selecting").

// A term that cannot be understood. The message names it and says what is possible.
class QueryError extends Error {}

const kFields = ['since', 'until', 'severity', 'id', 'event', 'product', 'host', 'last'];
const kTimes = 'write 2026-11-22, 2026-11-22T10:00 or 2026-11-22T10:00:30Z (all GMT), ' +
    'a time before now like 90s, 15m, 2h, 3d or 1w, or now, today or yesterday';
const kLabels = 'write the name of an attribute or child, = and its text, in which * is any text';
const kNames = `the fields are ${kFields.join(', ')}; NAME=TEXT is for attributes and children; ` +
    'to search for this text, put it in quotes (")';
const kRanges = 'write 3, 3.., ..5 or 2..4';

// Returns the terms of a filter: their texts without quotes, and the place of the first ":" or "=" outside of
// quotes (-1: none). Inside of quotes, two quotes are one that is meant; `isOpen` says that the last one is
// missing.
function splitTerms(text) {
  const terms = [];
  let term = null, isQuoted = false;
  for (let i = 0; i < text.length; ++i) {
    const letter = text[i];
    if (!isQuoted && /\s/.test(letter)) {
      term = null;
      continue;
    }
    if (!term) terms.push(term = {text: '', mark: -1, hasQuotes: false, isOpen: false});
    if (letter === '"') {
      if (isQuoted && text[i + 1] === '"')
        term.text += text[i++];
      else
        isQuoted = !isQuoted;
      term.hasQuotes = true;
    } else {
      if (!isQuoted && term.mark < 0 && (letter === ':' || letter === '=')) term.mark = term.text.length;
      term.text += letter;
    }
  }
  if (isQuoted) term.isOpen = true;
  return terms;
}

// Returns a test for texts: "*" is any run of characters, and the case of A to Z does not count. Takes time
// in proportion to the text and the pattern's parts.
function pattern(text) {
  const parts = lowerAscii(printable(text)).split('*'), first = parts.shift(), last = parts.pop();
  if (last === undefined) return value => lowerAscii(value) === first;
  return value => {
    const lower = lowerAscii(value);
    if (lower.length < first.length + last.length || !lower.startsWith(first) || !lower.endsWith(last))
      return false;
    let at = first.length;
    for (const part of parts) {
      const found = lower.indexOf(part, at);
      if (found < 0) return false;
      at = found + part.length;
    }
    return at <= lower.length - last.length;
  };
}

function parseRange(term, text) {
  const found = /^(?:(-?[0-9]{1,10})|(-?[0-9]{1,10})?\.\.(-?[0-9]{1,10})?)$/.exec(text);
  const [first, last] =
      found ? [found[1] ?? found[2] ?? -Infinity, found[1] ?? found[3] ?? Infinity].map(Number) : [1, 0];
  if (first > last || (first === -Infinity && last === Infinity))
    throw new QueryError(`${term}: not a number or a range; ${kRanges}`);
  return number => number >= first && number <= last;  // false for NaN
}

// True for a label of this name, or of a name that ends with "_" and this name. Numbers at the end do not
// count.
function isLabelNamed(label, name) {
  for (;; label = label.replace(/_[0-9]+$/, '')) {
    if (label === name || label.endsWith('_' + name)) return true;
    if (!/._[0-9]+$/.test(label)) return false;
  }
}

// Returns the parts of a filter. `fields` has lists of tests, which are alternatives; `last` is 0 for all
// events; `faults` has a message for each term that cannot be understood and is left out.
function parseQuery(text, now = Math.floor(Date.now() / 1000)) {
  const query = {fields: Object.create(null), where: [], words: [], last: 0, isReversed: false, faults: []};
  for (const term of splitTerms(text)) {
    try {
      takeTerm(query, term, now);
    } catch (error) {
      if (!(error instanceof QueryError)) throw error;
      query.faults.push(error.message);
    }
  }
  return query;
}

function takeTerm(query, {text: term, mark, hasQuotes, isOpen}, now) {
  if (isOpen) throw new QueryError(`${term}: the second quote (") is missing`);
  if (term === 'reverse' && !hasQuotes) {
    query.isReversed = true;
    return;
  }
  if (mark < 0) {
    query.words.push(printable(term).toLowerCase());
    return;
  }
  const name = term.slice(0, mark), value = term.slice(mark + 1);
  if (term[mark] === '=') {
    if (name === '') throw new QueryError(`${term}: a name is missing before =; ${kLabels}`);
    query.where.push({name: lowerAscii(printable(name.replaceAll('.', '_'))), fits: pattern(value)});
  } else if (name === 'last') {
    if (!/^[0-9]{1,10}$/.test(value) || Number(value) === 0)
      throw new QueryError(`${term}: not a number of events; write last:100`);
    query.last = Math.max(query.last, Number(value));
  } else {
    const test = parseField(term, name, value, hasQuotes, now);
    (query.fields[name] ??= []).push(test);
  }
}

// Returns the test of a field. Throws QueryError.
function parseField(term, name, value, hasQuotes, now) {
  if (!kFields.includes(name)) throw new QueryError(`${term}: there is no field "${name}"; ${kNames}`);
  if (value === '' && !hasQuotes) throw new QueryError(`${term}: a value is missing after ":"`);
  if (name === 'severity' || name === 'id') return parseRange(term, value);
  if (name !== 'since' && name !== 'until') return pattern(value);
  const moment = parseMoment(value, now);
  if (isNaN(moment)) throw new QueryError(`${term}: not a time; ${kTimes}`);
  return name === 'since' ? time => time >= moment : time => time < moment;
}

// Returns a mark for each event that has a label of this name with a value that fits.
function marksOfLabel({name, fits}, store) {
  const marks = new Uint8Array(store.size);
  for (const {texts, events, numbers} of store.columnsNamed(name)) {
    const selected = texts.list.map(fits);
    for (let i = 0; i < events.length; ++i)
      if (selected[numbers[i]]) marks[events[i]] = 1;
  }
  return marks;
}

// Returns a test for indexes of events.
function testOf(query, store) {
  const tests = [];
  for (const [name, alternatives] of Object.entries(query.fields)) {
    const fits = value => alternatives.some(alternative => alternative(value));
    if (Object.hasOwn(store.texts, name)) {
      const selected = store.texts[name].list.map(fits), numbers = store[name];
      tests.push(i => selected[numbers[i]] === true);
    } else {
      const values = name === 'since' || name === 'until' ? store.time : store[name];
      tests.push(i => fits(values[i]));
    }
  }
  for (const wanted of query.where) {
    const marks = marksOfLabel(wanted, store);
    tests.push(i => marks[i] === 1);
  }
  for (const word of query.words) tests.push(i => store.lower(i).includes(word));
  return i => tests.every(test => test(i));
}

// Returns the indexes of the selected events in the order of time.
function select(query, store) {
  const selected = store.order('time').filter(testOf(query, store));
  return query.last > 0 ? selected.slice(-query.last) : selected;
}

// Returns a term's value, in quotes if it needs them.
const quoted = text => /^[^\s"]+$/.test(text) ? text : `"${text.replaceAll('"', '""')}"`;

const termOfLabel = (name, value) => `${name.includes(':') ? `"${name}"` : name}=${quoted(value)}`;

// Returns the filter with other terms of these fields: {since: '...', severity: '3'}; null removes the
// field's terms.
function withFields(text, fields) {
  const kept = (text.match(/(?:[^\s"]|"(?:[^"]|"")*"?)+/g) ??
                []).filter(term => !Object.hasOwn(fields, /^[a-z]+(?=:)/.exec(term)?.[0] ?? ''));
  for (const [name, value] of Object.entries(fields))
    if (value !== null) kept.push(`${name}:${quoted(value)}`);
  return kept.join(' ');
}
