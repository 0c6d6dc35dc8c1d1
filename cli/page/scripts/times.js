// Times of a filter and of the plot, in seconds and GMT.

const kDay = 86400;
const kUnits = {
  s: 1,
  m: 60,
  h: 3600,
  d: kDay,
  w: 7 * kDay
};

// Returns the time of a text like 2026-11-22, 2026-11-22T10:00, 2026-11-22 10:00:30.5Z, 15m, now, today or
// yesterday; NaN for any other text. A fraction is rounded up, because events have whole seconds.
function parseMoment(text, now) {
  const today = now - now % kDay;
  if (text === 'now') return now;
  if (text === 'today') return today;
  if (text === 'yesterday') return today - kDay;
  const age = /^([0-9]{1,9})([smhdw])$/.exec(text);
  if (age) return now - Number(age[1]) * kUnits[age[2]];
  const found = /^([0-9-]{10})(?:[T ]([0-9:]{5})(?:(:[0-9]{2})(?:\.([0-9]+))?)?Z?)?$/.exec(text);
  if (!found) return NaN;
  const [, day, minute = '00:00', second = ':00', fraction = ''] = found;
  return parseTime(`${day}T${minute}${second}`) + (/[1-9]/.test(fraction) ? 1 : 0);
}

// Returns a time as the filter reads it.
const momentText = seconds => new Date(seconds * 1000).toISOString().slice(0, 19);

// Returns a time with as many parts as a span of `step` seconds needs.
function shortTime(seconds, step) {
  const text = momentText(seconds).replace('T', ' ');
  return step < 60 ? text : step < kDay ? text.slice(0, 16) : text.slice(0, 10);
}
