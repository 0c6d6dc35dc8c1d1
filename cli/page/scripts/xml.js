// Reads an event file with the browser's XML parser, within the program's limits (eventfile/xml_reader.h).

// Why a file is passed over.
class Refused extends Error {}

const blanks = '[ \\t\\r\\n]';
const setting = (name, value) => `${name}${blanks}*=${blanks}*(?:"${value}"|'${value}')`;
const declaration = new RegExp(
    `^<\\?xml${blanks}+${setting('version', '1\\.[0-9]+')}(?:${blanks}+${
        setting('encoding', '[Uu][Tt][Ff]-8')})?` +
    `(?:${blanks}+${setting('standalone', '(?:yes|no)')})?${blanks}*\\?>`);
const skipped = /<!--[^]*?-->|<!\[CDATA\[[^]*?\]\]>|<\?[^]*?\?>/.source;

// A document is read into plain objects by the properties that the browser's own classes have: elements of
// some namespaces, forms for example, have properties that their children's names decide.
const getter = (type, name) => Object.getOwnPropertyDescriptor(type.prototype, name).get;
const getters = {
  type: getter(Node, 'nodeType'),
  name: getter(Node, 'nodeName'),
  value: getter(Node, 'nodeValue'),
  first: getter(Node, 'firstChild'),
  next: getter(Node, 'nextSibling'),
  namespace: getter(Element, 'namespaceURI'),
  attributes: getter(Element, 'attributes'),
};
const of = (node, name) => getters[name].call(node);
const kDeclarations = 'http://www.w3.org/2000/xmlns/';

// Returns the bytes as a text without a byte-order mark, which may begin an XML document.
function decode(bytes) {
  let text;
  try {
    text = new TextDecoder('utf-8', {fatal: true}).decode(bytes);
  } catch {
    throw new Refused('invalid UTF-8');
  }
  if (isBlank(text)) throw new Refused('not finished: the end is missing');
  if (text.startsWith('\ufeff')) throw new Refused('text outside of the root element');
  if (/[\0-\x08\x0b\x0c\x0e-\x1f\ufffe\uffff]/.test(text))
    throw new Refused('a character that XML does not allow');
  return text;
}

// Returns the text with blanks in the place of its XML declaration. Browsers know other versions and
// encodings.
function withoutDeclaration(text) {
  if (!/^<\?xml[ \t\r\n]/.test(text)) return text;
  const found = declaration.exec(text);
  if (!found)
    throw new Refused('an XML declaration without a version like 1.0, or with an encoding other than UTF-8');
  return ' '.repeat(found[0].length) + text.slice(found[0].length);
}

// A document type is refused before the parser sees it, because the parser would expand its entities.
function refuseDocumentType(text) {
  const before = new RegExp(`${blanks}+|${skipped}`, 'y');
  let at = 0;
  while (before.test(text)) at = before.lastIndex;
  if (text.startsWith('<!DOCTYPE', at)) throw new Refused('a document type; event documents have none');
}

// Returns the parser's message, which it puts into the document.
function refuseFault(found, text) {
  const faults = found.getElementsByTagNameNS('*', 'parsererror');
  if (faults.length === 0) return;
  if (text.includes('parsererror'))
    throw new Refused('not XML, or an element "parsererror", which is the name of the browser\'s own');
  const message = faults[0].textContent.replace(/^.*?following errors:|Below is a rendering.*$/gs, '');
  throw new Refused(
      `not XML, or not finished: ${printable(message.replace(/\s+/g, ' ').trim()).slice(0, 200)}`);
}

// Builds the plain objects of one document.
class TreeBuilder {
  #elements = 0;
  #attributes = 0;

  // `index` counts the start tags of the document, and `last` is the index of the last one in the element.
  element(node, depth) {
    if (depth > rules.deepestElement)
      throw new Refused(`elements nested more than ${rules.deepestElement} levels deep`);
    const built = {
      name: of(node, 'name'),
      isPlain: of(node, 'namespace') === null,
      attributes: [],
      children: [],
      text: '',
      index: this.#elements++,
      last: 0
    };
    for (const attribute of of (node, 'attributes')) {
      ++this.#attributes;
      if (attribute.namespaceURI !== kDeclarations) built.attributes.push([attribute.name, attribute.value]);
    }
    if (this.#elements + this.#attributes > rules.mostNodes)
      throw new Refused(`more than ${rules.mostNodes} elements and attributes`);
    this.#contents(node instanceof HTMLTemplateElement ? node.content : node, built, depth);
    built.last = this.#elements - 1;
    return built;
  }
  // The parser may divide one text into several nodes.
  #contents(node, built, depth) {
    let piece = '';
    const endPiece = () => {
      if (built.children.length === 0 || !isBlank(piece)) built.text += piece;
      piece = '';
    };
    for (let child = of(node, 'first'); child !== null; child = of(child, 'next')) {
      const type = of(child, 'type');
      if (type !== Node.TEXT_NODE) endPiece();
      if (type === Node.TEXT_NODE || type === Node.CDATA_SECTION_NODE) piece += of(child, 'value');
      if (type === Node.CDATA_SECTION_NODE) endPiece();
      if (type === Node.ELEMENT_NODE) built.children.push(this.element(child, depth + 1));
    }
    endPiece();
  }
}

// Finds the offsets of start tags in a text that is XML. Indexes must ascend.
class Offsets {
  #text;
  #next = new RegExp(`${skipped}|<(?![/!?])`, 'g');
  #index = -1;
  #at = 0;
  #bytes = 0;

  constructor(text) {
    this.#text = text;
  }
  // Returns the offset in bytes of the name in the start tag with this index.
  of(index) {
    while (this.#index < index) {
      const found = this.#next.exec(this.#text);
      if (found[0] !== '<') continue;
      ++this.#index;
      this.#bytes += byteLength(this.#text.slice(this.#at, this.#next.lastIndex));
      this.#at = this.#next.lastIndex;
    }
    return this.#bytes;
  }
}

// Returns the root element, and the offsets of the start tags. Throws Refused.
function readXml(bytes) {
  if (bytes.byteLength > rules.largestFile) throw new Refused('larger than 256 MB');
  const text = withoutDeclaration(decode(bytes));
  refuseDocumentType(text);
  const found = new DOMParser().parseFromString(text, 'application/xml');
  refuseFault(found, text);
  return {root: new TreeBuilder().element(found.documentElement, 1), offsets: new Offsets(text)};
}
