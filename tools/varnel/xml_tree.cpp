#include "xml_tree.h"

#include "base/system_library.h"
#include "byte_stream.h"
#include "console.h"
#include "text.h"

#include <windows.h>
#include <objidl.h>
#include <xmllite.h>

#include <algorithm>
#include <cstdio>
#include <unordered_set>

namespace varnel::tool {
namespace {

// Bytes of a text without ASCII that the stream can still cut (byte_stream.h).
constexpr std::size_t kLongestRun = 1024;
constexpr char kNoNamespace[] = "a prefix without a namespace";

// Puts a character reference into every longer run. Nothing but a text or an attribute value has such runs:
// names are not that long.
std::string WithoutLongRuns(std::string_view utf8) {
  std::string mended;
  std::size_t run = 0;
  for (std::size_t at = 0; at < utf8.size(); ++at) {
    const auto byte = static_cast<unsigned char>(utf8[at]);
    run = byte < 0x80 ? 0 : run + 1;
    const bool begins = byte >= 0xC0;
    if (run < kLongestRun || !begins) {
      mended += utf8[at];
      continue;
    }
    const std::size_t length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : 2;
    const std::wstring units = ToWide(utf8.substr(at, length));
    const unsigned code =
        units.size() == 1 ? units[0] : 0x10000U + ((units[0] & 0x3FFU) << 10) + (units[1] & 0x3FFU);
    mended += "&#" + std::to_string(code) + ";";
    at += length - 1;
    run = 0;
  }
  return mended;
}

bool HasLongRun(std::string_view utf8) {
  std::size_t run = 0;
  return std::any_of(utf8.begin(), utf8.end(), [&run](char byte) {
    run = static_cast<signed char>(byte) >= 0 ? 0 : run + 1;
    return run > kLongestRun;
  });
}

std::string Explain(HRESULT result) {
  switch (static_cast<unsigned>(result)) {
    case WC_E_ELEMENTMATCH:
      return "the end tag is not that of the element";
    case WC_E_DTDPROHIBITED:
      return "a document type; event documents have none";
    case NC_E_UNDECLAREDPREFIX:
      return kNoNamespace;
    case WC_E_UNDECLAREDENTITY:
      return "an entity that XML does not have";
    case WC_E_LESSTHAN:
      return "'<' in an attribute value";
    default:
      break;
  }
  char text[48];
  std::snprintf(text, sizeof(text), "not well-formed (0x%08lx)", static_cast<unsigned long>(result));
  return text;
}

// The tree of one file, node by node.
class TreeBuilder {
 public:
  explicit TreeBuilder(IXmlReader& reader) : reader_(reader) {}

  XmlFile Build() {
    XmlNodeType type = XmlNodeType_None;
    HRESULT result = S_OK;
    while (file_.fault.text.empty() && (result = reader_.Read(&type)) == S_OK) Take(type);
    if (FAILED(result)) Refuse(Explain(result));
    file_.state = file_.fault.text.empty() ? FileState::kWhole : FileState::kBroken;
    return std::move(file_);
  }

 private:
  using Getter = HRESULT (STDMETHODCALLTYPE IXmlReader::*)(const wchar_t**, UINT*);

  std::string Get(Getter getter) {
    const wchar_t* text = nullptr;
    UINT length = 0;
    return SUCCEEDED((reader_.*getter)(&text, &length)) && text ? ToUtf8({text, length}) : std::string();
  }
  Place Here() {
    Place place;
    reader_.GetLineNumber(&place.line);
    reader_.GetLinePosition(&place.column);
    return {std::max(place.line, 1U), std::max(place.column, 1U)};
  }
  void Refuse(std::string why) { file_.fault = {Here(), std::move(why)}; }

  void Take(XmlNodeType type) {
    switch (type) {
      case XmlNodeType_XmlDeclaration:
        return TakeDeclaration();
      case XmlNodeType_Element:
        return TakeElement();
      case XmlNodeType_EndElement:
        return open_.empty() ? Refuse("an end tag outside of the root") : open_.pop_back();
      case XmlNodeType_Text:
      case XmlNodeType_CDATA:
      case XmlNodeType_Whitespace:
        return TakeText();
      default:
        return;  // what a comment says is nobody's business
    }
  }
  void TakeDeclaration() {
    for (const auto& [name, value] : TakeAttributes())
      if (name == "encoding" && _stricmp(value.c_str(), "utf-8") != 0) Refuse("another encoding than UTF-8");
  }
  // Not every reader looks at how a name begins.
  std::string TakeName() {
    std::string name = Get(&IXmlReader::GetQualifiedName);
    const std::size_t colon = name.find(':');
    for (const std::size_t first : {std::size_t{0}, colon == name.npos ? 0 : colon + 1})
      if (first == name.size() ||
          std::string_view("-.0123456789").find(name[first]) != std::string_view::npos)
        Refuse("a name that does not begin with a letter or '_'");
    return name;
  }
  // Of the element or attribute where the reader stands. Not every reader refuses a prefix that is not
  // declared.
  std::string TakeNamespace(const std::string& name) {
    std::string uri = Get(&IXmlReader::GetNamespaceUri);
    if (uri.empty() && name.find(':') != name.npos) Refuse(kNoNamespace);
    return uri;
  }
  void TakeElement() {
    if (open_.empty() && !file_.root.name.empty()) return Refuse("another element behind the root");
    Element& element = open_.empty() ? file_.root : open_.back()->children.emplace_back();
    element.place = Here();
    element.name = TakeName();
    element.inNamespace = !TakeNamespace(element.name).empty();
    const bool isEmpty = reader_.IsEmptyElement() != FALSE;
    element.attributes = TakeAttributes();
    if (!isEmpty) open_.push_back(&element);
  }
  // Of the node where the reader stands.
  Attributes TakeAttributes() {
    Attributes attributes;
    std::unordered_set<std::string> names;
    for (HRESULT result = reader_.MoveToFirstAttribute(); result == S_OK;
         result = reader_.MoveToNextAttribute()) {
      std::string name = TakeName();
      if (!names.insert(name).second) Refuse("an attribute twice");
      TakeNamespace(name);
      if (name != "xmlns" && !name.starts_with("xmlns:"))
        attributes.emplace_back(std::move(name), Get(&IXmlReader::GetValue));
    }
    reader_.MoveToElement();
    return attributes;
  }
  void TakeText() {
    const std::string text = Get(&IXmlReader::GetValue);
    if (open_.empty()) {
      if (!IsBlank(text)) Refuse("text outside of the root");
      return;
    }
    Element& element = *open_.back();
    if (!element.children.empty() && IsBlank(text)) return;
    if (!element.children.empty() && !element.lateText) element.lateText = Here();
    element.text += text;
  }

  IXmlReader& reader_;
  XmlFile file_;
  std::vector<Element*> open_;  // each is the last child of the one before, so none moves while it is open
};

// Takes its input from the reader, which must not keep it: it stands on the stack.
class InputScope {
 public:
  explicit InputScope(IXmlReader& reader) : reader_(reader) {}
  ~InputScope() { reader_.SetInput(nullptr); }
  InputScope(const InputScope&) = delete;
  InputScope& operator=(const InputScope&) = delete;

 private:
  IXmlReader& reader_;
};

// Its reader needs the runs to be broken; the system's own would only report wrong places.
bool IsWine() {
  const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
  return ntdll && GetProcAddress(ntdll, "wine_get_version");
}

}  // namespace

bool IsBlank(std::string_view text) {
  return text.find_first_not_of(" \t\r\n") == text.npos;
}

XmlParser::XmlParser() : library_(LoadSystemLibrary(L"xmllite.dll")) {
  decltype(CreateXmlReader)* create = nullptr;
  if (!library_ || !Resolve(library_, "CreateXmlReader", create) ||
      FAILED(create(__uuidof(IXmlReader), reader_.PutVoid(), nullptr)) ||
      FAILED(reader_->SetProperty(XmlReaderProperty_DtdProcessing, DtdProcessing_Prohibit)))
    throw Failure("this system has no XML reader (xmllite.dll)");
}

XmlParser::~XmlParser() = default;

XmlFile XmlParser::Parse(std::string_view utf8) {
  if (utf8.starts_with("\xEF\xBB\xBF")) utf8.remove_prefix(3);
  Scan scan = ScanXml(utf8);
  if (scan.state != FileState::kWhole) return {scan.state, {}, std::move(scan.fault)};
  std::string mended;
  if (IsWine() && HasLongRun(utf8)) utf8 = mended = WithoutLongRuns(utf8);
  ByteStream stream(utf8);
  decltype(CreateXmlReaderInputWithEncodingName)* createInput = nullptr;
  ComPtr<IUnknown> input;
  if (!Resolve(library_, "CreateXmlReaderInputWithEncodingName", createInput) ||
      FAILED(createInput(&stream, nullptr, L"utf-8", FALSE, nullptr, input.Put())) ||
      FAILED(reader_->SetInput(input.Get())))
    throw Failure("the system's XML reader does not take the file");
  const InputScope scope(*reader_.Get());
  return TreeBuilder(*reader_.Get()).Build();
}

}  // namespace varnel::tool
