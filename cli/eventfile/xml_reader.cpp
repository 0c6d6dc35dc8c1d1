#include "eventfile/xml_reader.h"

#include "eventfile/xml_cursor.h"

#include <algorithm>
#include <map>
#include <optional>
#include <vector>

namespace varnel::tool {
namespace {

constexpr char kNotInDeclaration[] = "text that is not allowed in an XML declaration";
constexpr char kOutside[] = "text outside of the root element";
constexpr char kNoNameCharacter[] = "a character that is not allowed in a name";

// True if the texts are equal without regard to case. `letters` is in lower case.
bool IsInAnyCase(std::string_view text, std::string_view letters) {
  const auto isSame = [](char given, char letter) {
    return (given >= 'A' && given <= 'Z' ? given - 'A' + 'a' : given) == letter;
  };
  return std::equal(text.begin(), text.end(), letters.begin(), letters.end(), isSame);
}

}  // namespace

// Reads the text in one pass. A fault ends it with an exception, which ReadXml catches.
class XmlReader : private XmlCursor {
 public:
  explicit XmlReader(XmlTree& tree) : XmlCursor(tree.file_), tree_(tree) {}

  void Read() {
    open_.reserve(16);
    Declaration();
    while (!AtEnd()) Sees('<') ? Markup() : Text();
    if (!open_.empty() || tree_.elements_.empty()) Unfinished();
  }

 private:
  using Slice = XmlTree::Slice;

  // An element whose end tag has not been read.
  struct Open {
    std::size_t index = 0;
    Slice text;          // used while the text is one piece of the file
    std::string pieces;  // the whole text, if there are several pieces
    bool inNamespace = false;
    std::vector<std::string_view> prefixes;  // declared by this element
  };

  static Slice SliceOf(std::size_t at, std::size_t length) {
    return {static_cast<std::uint32_t>(at), static_cast<std::uint32_t>(length)};
  }
  // Stores a text that is written in another form in the file.
  Slice Keep(std::string_view text) {
    const std::size_t at = tree_.file_.size() + tree_.decoded_.size();
    tree_.decoded_ += text;
    return SliceOf(at, text.size());
  }

  // Moves past NAME or PREFIX:NAME and returns it.
  Slice Name() {
    const std::size_t start = At();
    NamePart();
    if (Skip(":")) {
      NamePart();
      if (Sees(':')) Refuse(At(), "a name with two ':'");
    }
    return SliceOf(start, At() - start);
  }

  // Reads <?xml version="1.0" encoding="UTF-8" standalone="yes"?>. The declaration is optional, and so are
  // its encoding and standalone.
  void Declaration() {
    if (!Skip("<?xml")) return;
    if (!Blanks()) return MoveTo(0);  // a processing instruction
    const std::size_t start = At();
    const auto version = Setting("version");
    const bool isVersion = version && version->size() > 2 && version->starts_with("1.") &&
                           version->find_first_not_of("0123456789", 2) == version->npos;
    if (!isVersion) Refuse(start, "an XML declaration without a version like 1.0");
    bool apart = Blanks();
    if (apart) {
      const std::size_t place = At();
      const auto encoding = Setting("encoding");
      if (encoding && !IsInAnyCase(*encoding, "utf-8")) Refuse(place, "an encoding other than UTF-8");
      if (encoding) apart = Blanks();
    }
    if (apart) {
      const std::size_t place = At();
      const auto standalone = Setting("standalone");
      if (standalone && standalone != "yes" && standalone != "no")
        Refuse(place, "standalone is neither yes nor no");
      if (standalone) Blanks();
    }
    if (!Skip("?>")) Refuse(At(), kNotInDeclaration);
  }
  // Reads NAME="VALUE" in the declaration. Returns nothing if the text does not go on with NAME.
  std::optional<std::string_view> Setting(std::string_view name) {
    if (!Skip(name)) return std::nullopt;
    Equals();
    const char quote = Quote();
    const std::size_t start = At();
    SkipAsciiName();
    const std::string_view value = Since(start);
    if (Peek() != quote) Refuse(At(), kNotInDeclaration);
    MoveTo(At() + 1);
    return value;
  }

  void Markup() {
    const std::size_t start = At();
    MoveTo(start + 1);
    switch (Peek()) {
      case '/':
        return EndTag(start);
      case '?':
        return Instruction(start);
      case '!':
        return Declared(start);
      default:
        return StartTag(start);
    }
  }
  // Reads a comment or a CDATA section after its "<".
  void Declared(std::size_t start) {
    const bool isComment = Skip("!--");
    if (!isComment && !Skip("![CDATA["))
      Refuse(start, Skip("!DOCTYPE") ? "a document type; event documents have none"
                                     : "'<!' without a comment or CDATA section");
    if (!isComment && open_.empty()) Refuse(start, kOutside);
    const std::string_view mark = isComment ? "-->" : "]]>";
    Content content{At()};
    Until(mark, content);
    if (!isComment) AddText(content);
    Skip(mark);
  }
  void Instruction(std::size_t start) {
    const std::size_t name = At() + 1;
    MoveTo(name);
    NamePart();
    if (IsInAnyCase(Since(name), "xml"))
      Refuse(start, "an XML declaration that is not at the start of the file");
    if (Skip("?>")) return;
    if (!Blanks()) Refuse(At(), kNoNameCharacter);
    Content content{At()};
    Until("?>", content);
    Skip("?>");
  }

  void Text() {
    if (open_.empty()) return Outside();
    Content content{At()};
    while (!AtEnd() && !Sees('<')) {
      if (Sees('&'))
        Reference(content);
      else if (Sees('\r'))
        LineEnd(content, "\n");
      else if (Sees("]]>"))
        Refuse(At(), "']]>' in a text: write ]]&gt;");
      else
        Characters();
    }
    AddText(content);
  }
  void Outside() {
    OuterBlanks();
    if (AtEnd() || Sees('<')) return;
    Refuse(At(), IsBlank(Since(0)) ? "not XML" : kOutside);
  }
  // Returns the content that ends here.
  Slice Finish(Content& content) {
    if (content.IsAsInFile()) return SliceOf(content.start, At() - content.start);
    content.decoded += Since(content.from);
    return Keep(content.decoded);
  }
  // Adds the content that ends here to the innermost element's text.
  void AddText(Content& content) {
    Open& element = open_.back();
    XmlTree::ElementNode& node = tree_.elements_[element.index];
    const bool isFirst = element.text.length == 0 && element.pieces.empty();
    if (!content.IsAsInFile()) content.decoded += Since(content.from);
    const std::string_view piece = content.IsAsInFile() ? Since(content.start) : content.decoded;
    const bool isLate = element.index + 1 < tree_.elements_.size();
    if (piece.empty() || (isLate && IsBlank(piece))) return;
    if (isLate && node.lateText == 0) node.lateText = static_cast<std::uint32_t>(content.start);
    if (isFirst && content.IsAsInFile()) {
      element.text = SliceOf(content.start, piece.size());
    } else {
      if (element.pieces.empty()) element.pieces = tree_.View(element.text);
      element.pieces += piece;
    }
  }

  void CountNode(std::size_t place) const {
    if (tree_.elements_.size() + nodesOfDeclarations_ + tree_.attributes_.size() > kMostNodes)
      Refuse(place, "more than " + std::to_string(kMostNodes) + " elements and attributes");
  }
  void StartTag(std::size_t start) {
    if (open_.empty() && !tree_.elements_.empty()) Refuse(start, "another element after the root element");
    if (open_.size() == kDeepestElement)
      Refuse(start, "elements nested more than " + std::to_string(kDeepestElement) + " levels deep");
    const Slice name = Name();
    const bool inNamespace = !open_.empty() && open_.back().inNamespace;
    const std::size_t firstAttribute = tree_.attributes_.size();
    open_.push_back({tree_.elements_.size(), {}, {}, inNamespace, {}});
    tree_.elements_.push_back({name, {}, 0, 0, static_cast<std::uint32_t>(firstAttribute) & 0x7FFF'FFFF, 0});
    CountNode(start);
    names_.clear();
    for (bool apart = Blanks(); Peek() != '>' && Peek() != '/'; apart = Blanks()) {
      if (!apart) Refuse(At(), names_.empty() ? kNoNameCharacter : "no blank between two attributes");
      Attribute();
    }
    const bool isEmpty = Skip("/>");
    if (!isEmpty && !Skip(">")) Refuse(At(), "'/' without '>'");
    CheckNames(name, firstAttribute);
    tree_.elements_.back().inNamespace = open_.back().inNamespace;
    if (isEmpty) Close();
  }
  void Attribute() {
    const Slice name = Name();
    const std::string_view text = tree_.View(name);
    Equals();
    const Slice value = Value();
    names_.push_back(name);
    if (text != "xmlns" && !text.starts_with("xmlns:")) {
      tree_.attributes_.push_back({name, value});
    } else {
      ++nodesOfDeclarations_;
      Declare(text.substr(std::min<std::size_t>(text.size(), 6)), name.at, tree_.View(value));
    }
    CountNode(name.at);
  }
  // Reads xmlns="NAME" or xmlns:PREFIX="NAME". XML itself declares two prefixes and their namespaces.
  void Declare(std::string_view prefix, std::size_t place, std::string_view name) {
    const bool isXml = name == "http://www.w3.org/XML/1998/namespace";
    if (isXml != (prefix == "xml") || prefix == "xmlns" || name == "http://www.w3.org/2000/xmlns/")
      Refuse(place, "a namespace or prefix that is reserved for XML");
    if (prefix.empty()) {
      open_.back().inNamespace = !name.empty();
      return;
    }
    if (name.empty()) Refuse(place, "a prefix without a namespace: " + Quoted(prefix));
    ++declared_[prefix];
    open_.back().prefixes.push_back(prefix);
  }
  Slice Value() {
    const char quote = Quote();
    Content content{At()};
    while (Peek() != quote) {
      switch (Peek()) {
        case '<':
          Refuse(At(), "'<' in an attribute value");
        case '&':
          Reference(content);
          break;
        case '\t':
        case '\n':
          Replace(content, 1, " ");
          break;
        case '\r':
          LineEnd(content, " ");
          break;
        default:
          Characters();
      }
    }
    const Slice value = Finish(content);
    MoveTo(At() + 1);
    return value;
  }
  // Checks the start tag that ends here: no attribute twice, and no undeclared prefix.
  void CheckNames(Slice element, std::size_t firstAttribute) {
    const auto isLess = [this](Slice a, Slice b) {
      const int order = tree_.View(a).compare(tree_.View(b));
      return order != 0 ? order < 0 : a.at < b.at;
    };
    std::sort(names_.begin(), names_.end(), isLess);
    constexpr std::size_t kNowhere = std::string_view::npos;
    std::size_t twice = kNowhere;
    for (std::size_t i = 1; i < names_.size(); ++i)
      if (tree_.View(names_[i - 1]) == tree_.View(names_[i]))
        twice = std::min<std::size_t>(twice, names_[i].at);
    if (twice != kNowhere) Refuse(twice, "an attribute twice");
    CheckPrefix(element);
    for (std::size_t i = firstAttribute; i < tree_.attributes_.size(); ++i)
      CheckPrefix(tree_.attributes_[i].name);
  }
  void CheckPrefix(Slice name) const {
    const std::string_view text = tree_.View(name);
    const std::size_t colon = text.find(':');
    if (colon == text.npos || text.substr(0, colon) == "xml" || declared_.contains(text.substr(0, colon)))
      return;
    Refuse(name.at, "a prefix without a namespace: " + Quoted(text.substr(0, colon)));
  }

  void EndTag(std::size_t start) {
    if (open_.empty()) Refuse(start, "an end tag outside of the root element");
    MoveTo(At() + 1);
    const std::string_view name = tree_.View(Name());
    const std::string_view wanted = tree_.View(tree_.elements_[open_.back().index].name);
    if (name != wanted) Refuse(start, "</" + Quoted(name) + "> instead of </" + Quoted(wanted) + ">");
    Blanks();
    if (!Skip(">")) Refuse(At(), kNoNameCharacter);
    Close();
  }
  void Close() {
    Open& element = open_.back();
    XmlTree::ElementNode& node = tree_.elements_[element.index];
    node.end = static_cast<std::uint32_t>(tree_.elements_.size());
    node.text = element.pieces.empty() ? element.text : Keep(element.pieces);
    for (const std::string_view prefix : element.prefixes)
      if (const auto found = declared_.find(prefix); --found->second == 0) declared_.erase(found);
    open_.pop_back();
  }

  XmlTree& tree_;
  std::vector<Open> open_;
  std::map<std::string_view, unsigned>
      declared_;                         // prefixes, with the number of open elements that declare them
  std::size_t nodesOfDeclarations_ = 0;  // attributes that the tree does not store
  std::vector<Slice> names_;             // names of the attributes in a start tag
};

XmlVerdict ReadXml(std::string_view utf8, XmlTree& tree) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  const bool isMark = !utf8.empty() && kMark.starts_with(utf8.substr(0, kMark.size()));
  if (isMark) utf8.remove_prefix(std::min(kMark.size(), utf8.size()));
  tree = XmlTree(utf8);
  try {
    XmlReader(tree).Read();
    return {};
  } catch (XmlVerdict& verdict) {
    return std::move(verdict);
  }
}

}  // namespace varnel::tool
