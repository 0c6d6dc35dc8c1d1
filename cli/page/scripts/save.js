// Saves the selected events.

// Returns rows as CSV (RFC 4180). An apostrophe comes before a text that a spreadsheet would take for a
// formula.
function csvOf(rows) {
  const field = text => {
    const harmless = /^[=+\-@\t\r]/.test(text) ? `'${text}` : text;
    return /[",\r\n]/.test(harmless) ? `"${harmless.replaceAll('"', '""')}"` : harmless;
  };
  return rows.map(row => row.map(field).join(',') + '\r\n').join('');
}

// The columns of varnel show --csv. A time or severity that is none is a label.
const kCsvHeads = ['time', 'severity', 'id', 'event', 'product', 'version', 'machine', 'file'];
function csvRow({'@timestamp': time, event, observer, host, log, labels}) {
  const values = [
    time?.slice(0, -1) ?? labels.GMTTime, event.severity ?? labels.Severity, event.code, event.action,
    observer?.product, observer?.version, host?.name, log?.file.path
  ];
  return values.map(value => String(value ?? ''));
}
const csvOfEvents = events => csvOf([kCsvHeads, ...events.map(csvRow)]);

// Returns a JSON object in ASCII in each line, as varnel show --json prints them.
const jsonOfEvents = events =>
    events
        .map(
            event => JSON.stringify(event).replace(
                         /[\x7f-\uffff]/g, unit => '\\u' + unit.charCodeAt(0).toString(16).padStart(4, '0')) +
                '\n')
        .join('');

function saveAs(name, type, text) {
  const link = document.createElement('a');
  link.href = URL.createObjectURL(new Blob([text], {type}));
  link.download = name;
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 60000);
}
