'use strict';
// Texts as the program shows and measures them (console/printable.h, eventfile/json_line.h).

const at = id => document.getElementById(id);
function make(tag, text, properties = {}) {
  const made = document.createElement(tag);
  made.textContent = text;
  return Object.assign(made, properties);
}

// What the program writes into the page: its limits, names and character tables (page_rules.cpp).
const rules = JSON.parse(at('rules').textContent);

// True if the code point is in a table of first and last code points.
function isIn(table, code) {
  let low = 0, high = table.length / 2;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (table[2 * middle + 1] < code)
      low = middle + 1;
    else
      high = middle;
  }
  return 2 * low < table.length && table[2 * low] <= code;
}

// Returns the text with its invisible characters as \u{...}; line feeds and tabs stay.
function printable(text) {
  if (/^[\n\t\x20-\x7e]*$/.test(text)) return text;
  let shown = '', marks = rules.mostMarks;
  for (const character of text) {
    const code = character.codePointAt(0);
    marks = isIn(rules.marks, code) ? marks + 1 : 0;
    const isControl = (code < 0x20 && code !== 0x09 && code !== 0x0a) || (code >= 0x7f && code < 0xa0);
    const isEscaped = isControl || marks > rules.mostMarks || isIn(rules.unseen, code);
    shown += isEscaped ? `\\u{${code.toString(16)}}` : character;
  }
  return shown;
}

// Returns the number of bytes of the text's UTF-8.
function byteLength(text) {
  return /^[\0-\x7f]*$/.test(text) ? text.length : new TextEncoder().encode(text).length;
}

// Returns the text, cut after a whole character to what a receiver takes.
function cut(text) {
  if (text.length * 3 <= rules.longestText) return text;
  return text.slice(0, new TextEncoder().encodeInto(text, new Uint8Array(rules.longestText)).read);
}

// Returns the length of a text in the program's JSON, which is ASCII and escapes "<".
function jsonTextLength(text) {
  let length = text.length + 2;
  if (/^[ !#-;=-[\]-~]*$/.test(text)) return length;
  for (let i = 0; i < text.length; ++i) {
    const unit = text.charCodeAt(i);
    if ('"\\\b\f\n\r\t'.includes(text[i]))
      length += 1;
    else if (unit < 0x20 || unit > 0x7e || unit === 0x3c)
      length += 5;
  }
  return length;
}

// Returns the length of a number, text, list or object in the program's JSON.
function jsonLength(value) {
  if (typeof value === 'string') return jsonTextLength(value);
  if (typeof value === 'number') return String(value).length;
  if (Array.isArray(value)) return value.reduce((length, item) => length + jsonLength(item) + 1, 1);
  return Object.entries(value).reduce(
      (length, [name, item]) => length + jsonTextLength(name) + jsonLength(item) + 2, 1);
}

// Lower case for A to Z only, as the program compares names and patterns.
const lowerAscii = text => /^[\0-\x7f]*$/.test(text) ?
    text.toLowerCase() :
    text.replace(/[A-Z]+/g, letters => letters.toLowerCase());
const grouped = number => number.toLocaleString('en-US');
const counted = (number, unit) => `${grouped(number)} ${unit}${number === 1 ? '' : 's'}`;

// Rules of the library's own values (eventfile/event_forms.h).
const isBlank = text => /^[ \t\r\n]*$/.test(text);
const isNumber = text => /^(0|-?[1-9][0-9]{0,9})$/.test(text) && Number(text) === (Number(text) | 0);
const isHardwareAddress = text => /^[0-9a-f]{12}$/.test(text);

// Returns the time of a text like 2024-03-07T09:05:03 in seconds; NaN for any other text and for days that do
// not exist.
function parseTime(text) {
  const found = /^([0-9]{4})-([0-9]{2})-([0-9]{2})T([0-9]{2}):([0-9]{2}):([0-9]{2})$/.exec(text);
  if (!found) return NaN;
  const [year, month, day, hour, minute, second] = found.slice(1).map(Number);
  const date = new Date(Date.UTC(year, month - 1, day, hour, minute, second));
  const exists = year >= 100 && month > 0 && date.getUTCMonth() === month - 1 && date.getUTCDate() === day &&
      hour < 24 && minute < 60 && second < 60;
  return exists ? date.getTime() / 1000 : NaN;
}

function isIpAddress(text) {
  const part = '(25[0-5]|2[0-4][0-9]|1[0-9]{2}|[1-9]?[0-9])',
        isVersion4 = address => new RegExp(`^${part}(\\.${part}){3}$`).test(address);
  const end = text.slice(text.lastIndexOf(':') + 1);
  if (end === text || !/^[0-9A-Fa-f:.]+$/.test(text) || (end.includes('.') && !isVersion4(end)))
    return isVersion4(text);
  try {
    return new URL(`http://[${text}]/`) !== null;
  } catch {
    return false;
  }
}
