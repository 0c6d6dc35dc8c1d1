// The events of a file, as the program writes them into the page (eventfile/event_json.cpp). A test compares
// both.

const isNamed = (element, name) => element.isPlain && element.name === name;
const isEvent = element =>
    element.children.some(child => isNamed(child, 'EventID') || isNamed(child, 'GMTTime'));
const attributeOf = (element, name) => element.attributes.find(([given]) => given === name)?.[1] ?? '';

// The first child of an element for each of some names.
class Facts {
  #children;

  constructor(element, names) {
    this.#children = names.map(name => element?.children.find(child => isNamed(child, name)));
  }
  texts() {
    return this.#children.map(child => child?.text ?? '');
  }
  have(child) {
    return this.#children.includes(child);
  }
}

// Returns an object with the members that have a value; undefined if none has.
function membersOf(members) {
  const made = Object.create(null);
  for (const [name, value] of Object.entries(members))
    if (value !== undefined) made[name] = value;
  return Object.keys(made).length > 0 ? made : undefined;
}
const shownText = text => text === '' ? undefined : printable(cut(text));

// Returns the start of the identifiers of a file's events; the place in the file follows
// (eventfile/event_identifier.h).
function identifierStart(agent, fileName) {
  const guid = /^(\{?)([0-9A-Fa-f]{8}(?:-[0-9A-Fa-f]{4}){3}-[0-9A-Fa-f]{12})(\}?)$/.exec(agent);
  return `${guid && (guid[1] === '') === (guid[3] === '') ? guid[2] : '-'}/${fileName}#`;
}

// Writes the events of one document. Fields that all of them share are made once.
class EventWriter {
  #identifierStart;
  #fields = [];
  #first = new SharedLabels();
  #last = new SharedLabels();
  leftOut = new LeftOut();

  // `product` is the root's first child, other than MachineInfo, with a product's name.
  constructor(root, product, fileName, path) {
    const machine = root.children.find(child => isNamed(child, 'MachineInfo'));
    this.#identifierStart = identifierStart(new Facts(machine, rules.machineFacts).texts()[1], fileName);
    const [name, version, family] = rules.productFacts.map(fact => attributeOf(product, fact));
    this.#first.add('product_family', family);
    this.#first.add('root', root.name);
    this.#takeMachine(machine);
    this.#addField('observer', {product: shownText(name), version: shownText(version)});
    this.#addField('log', {file: {path: printable(cut(path))}});
    this.#takeRest(root, product, machine);
  }

  // Returns the event and the length of its line; undefined if not even the required fields fit.
  write(event, place, limit) {
    if (limit < rules.lineEnding) return undefined;
    const line = new Line(limit - rules.lineEnding), leftOut = Object.assign(new LeftOut(), this.leftOut);
    const facts = new Facts(event, rules.eventFacts), [id, severity, time] = facts.texts();
    if (!this.#writeFields(line, leftOut, event, place, id, severity, time)) return undefined;
    line.enter('labels');
    const labels = new Labels(line, leftOut);
    labels.addShared(this.#first);
    if (!isNumber(severity) && severity !== '') labels.add('Severity', severity);
    if (isNaN(parseTime(time)) && time !== '') labels.add('GMTTime', time);
    walkAttributes('', event, labels);
    for (const child of event.children)
      if (!facts.have(child)) walkElement('', child, labels);
    labels.addShared(this.#last);
    line.limit = limit;
    const words = leftOut.words();
    if (words !== '') line.text('left_out', words);
    line.leave();
    line.close();
    this.leftOut = new LeftOut();
    return line;
  }
  #writeFields(line, leftOut, event, place, id, severity, time) {
    if (!isNaN(parseTime(time))) line.text('@timestamp', time + 'Z');
    line.add('ecs', {version: '8.11.0'}, jsonLength({version: '8.11.0'}));
    line.enter('event');
    line.text('kind', 'event');
    line.text('module', 'varnel');
    const hasAction = line.text('action', cut(event.name));
    if (id !== '' && !line.text('code', cut(id))) ++leftOut.fields;
    if (isNumber(severity)) line.add('severity', Number(severity), severity.length);
    const hasId = line.text('id', this.#identifierStart + place);
    line.leave();
    for (const [name, value, length] of this.#fields)
      if (!line.add(name, value, length)) ++leftOut.fields;
    return hasAction && hasId;
  }

  #addField(name, members) {
    const value = membersOf(members);
    if (value) this.#fields.push([name, value, jsonLength(value)]);
  }
  #takeMachine(machine) {
    const facts = new Facts(machine, rules.machineFacts),
          [name, agent, address, system, user, bias, hardware] = facts.texts();
    const isAddress = isIpAddress(address), isHardware = isHardwareAddress(hardware);
    const hyphened = hardware.toUpperCase().match(/../g)?.join('-');
    this.#addField('host', {
      name: shownText(name),
      ip: isAddress ? [address] : undefined,
      mac: isHardware ? [hyphened] : undefined,
      os: membersOf({full: shownText(system)})
    });
    this.#addField('user', {name: shownText(user)});
    this.#addField('agent', {id: shownText(agent)});
    if (!isAddress && address !== '') this.#last.add('MachineInfo_IPAddress', address);
    if (!isHardware && hardware !== '') this.#last.add('MachineInfo_RawMACAddress', hardware);
    if (bias !== '') this.#last.add('MachineInfo_TimeZoneBias', bias);
    if (!machine) return;
    walkAttributes('MachineInfo_', machine, this.#last);
    for (const child of machine.children)
      if (!facts.have(child)) walkElement('MachineInfo_', child, this.#last);
  }
  #takeRest(root, product, machine) {
    for (const [name, value] of product.attributes)
      if (!rules.productFacts.includes(name)) this.#last.add(`${product.name}_${name}`, value);
    for (const child of product.children)
      if (!isEvent(child)) walkElement(`${product.name}_`, child, this.#last);
    for (const child of root.children)
      if (child !== product && child !== machine) walkElement(`${root.name}_`, child, this.#last);
  }
}

// Returns the events of an event file. Throws Refused.
function readEvents(bytes, fileName, path) {
  const {root, offsets} = readXml(bytes);
  const product = root.children.find(
      child => !isNamed(child, 'MachineInfo') &&
          child.attributes.some(([name]) => name === rules.productFacts[0]));
  if (!product) throw new Refused('not an event document');
  const found = product.children.filter(isEvent), writer = new EventWriter(root, product, fileName, path),
        events = [];
  let used = 0;
  found.forEach((event, i) => {
    const least = i === found.length - 1 ? rules.endOfFile : 0;
    // The offset decides only when much has been written.
    const isPlenty = used + rules.longestLine <= rules.besideFile;
    const left =
        isPlenty ? rules.longestLine : rules.timesFile * offsets.of(event.last) + rules.besideFile - used;
    const line = writer.write(event, i + 1, Math.min(Math.max(left, least, 0), rules.longestLine));
    if (!line) {
      ++writer.leftOut.events;
      return;
    }
    events.push(line.object);
    used += line.length + 2;
  });
  return events;
}
