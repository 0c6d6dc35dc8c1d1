#include "documents.h"

#include "event_texts.h"
#include "xml/text_form.h"

#include <algorithm>
#include <cstdlib>
#include <rapidxml/rapidxml_print.hpp>
#include <string_view>
#include <utility>

namespace varnel::bench {
namespace {

constexpr Item kFacts[] = {
    {L"MachineName", L"WORKSTATION-17"}, {L"AgentGUID", L"{3F2504E0-4F89-41D3-9A0C-0305E82C3301}"},
    {L"IPAddress", L"192.0.2.7"},        {L"OSName", L"Windows 10 Workstation"},
    {L"UserName", L"EXAMPLE\\jürgen"},   {L"TimeZoneBias", L"-60"},
    {L"RawMACAddress", L"0123456789ab"}};
constexpr Item kProduct[] = {
    {L"ProductName", L"Endpoint Guard"}, {L"ProductVersion", L"10.7.1.245"}, {L"ProductFamily", L"TVD"}};
constexpr std::wstring_view kMachine = L"MachineInfo";
constexpr std::wstring_view kSoftware = L"GuardSoftware";

// Builds with rapidxml, copying all texts into its pools.
class PeerBuilder {
 public:
  explicit PeerBuilder(Peer& document) : document_(document) {}

  rapidxml::xml_node<wchar_t>* Add(rapidxml::xml_node<wchar_t>* parent, const Item& item) {
    auto* const node = document_.allocate_node(rapidxml::node_element, Copy(item.name), Copy(item.text),
                                               item.name.size(), item.text.size());
    parent->append_node(node);
    return node;
  }
  void AddAttribute(rapidxml::xml_node<wchar_t>* node, const Item& item) {
    node->append_attribute(
        document_.allocate_attribute(Copy(item.name), Copy(item.text), item.name.size(), item.text.size()));
  }

 private:
  wchar_t* Copy(std::wstring_view text) {
    return text.empty() ? nullptr : document_.allocate_string(text.data(), text.size());
  }

  Peer& document_;
};

// Writes markup in one pass into memory that doubles, because the final length is unknown.
class OnePass {
 public:
  OnePass& operator<<(std::string_view markup) {
    std::copy(markup.begin(), markup.end(), Room(markup.size()));
    size_ += markup.size();
    return *this;
  }
  OnePass& operator<<(std::wstring_view text) {
    constexpr std::size_t kMostBytes = AdvXMLParser::LengthOf("&quot;");  // for one unit
    char* const end =
        AdvXMLParser::WriteUtf8(Room(text.size() * kMostBytes), text, AdvXMLParser::Form::kEscaped).end;
    size_ = static_cast<std::size_t>(end - bytes_.get());
    return *this;
  }
  void Element(const Item& item) {
    *this << "<" << item.name << ">" << item.text << "</" << item.name << ">";
  }
  void Attribute(const Item& item) { *this << " " << item.name << "=\"" << item.text << "\""; }
  Bytes Finish() { return std::move(bytes_); }

 private:
  // Returns the address for the next bytes, with room for `bytes` and for the bytes that WriteUtf8
  // overwrites.
  char* Room(std::size_t bytes) {
    if (size_ + bytes + AdvXMLParser::kCopyBlock > capacity_) {
      capacity_ = std::max(capacity_ * 2, size_ + bytes + AdvXMLParser::kCopyBlock);
      bytes_.reset(static_cast<char*>(std::realloc(bytes_.release(), capacity_)));
    }
    return bytes_.get() + size_;
  }

  std::size_t size_ = 0;
  std::size_t capacity_ = 2000;
  Bytes bytes_{static_cast<char*>(std::malloc(capacity_))};
};

}  // namespace

Bytes WriteAtOnce(int events) {
  OnePass out;
  out << AdvXMLParser::kXmlDeclaration << "<" << kRootName << "><" << kMachine << ">";
  for (const Item& fact : kFacts) out.Element(fact);
  out << "</" << kMachine << "><" << kSoftware;
  for (const Item& attribute : kProduct) out.Attribute(attribute);
  out << ">";
  for (int i = 0; i < events; ++i) {
    out << "<" << kEventName;
    for (const Item& attribute : kAttributes) out.Attribute(attribute);
    out << ">";
    for (const Item& text : kTexts) out.Element(text);
    out << "</" << kEventName << ">";
  }
  out << "</" << kSoftware << "></" << kRootName << ">";
  return out.Finish();
}

void Build(AdvXMLParser::Document& document, int events) {
  auto* const machine = document.Root()->AddElement(kMachine);
  for (const Item& fact : kFacts) machine->AddElement(fact.name, fact.text);
  auto* const software = machine->AddSiblingElement(kSoftware);
  for (const Item& attribute : kProduct) software->AddToAttribute(attribute.name, attribute.text);
  for (int i = 0; i < events; ++i) {
    auto* const event = software->AddElement(kEventName);
    for (const Item& attribute : kAttributes) event->AddToAttribute(attribute.name, attribute.text);
    for (const Item& text : kTexts) event->AddElement(text.name, text.text);
  }
}

void Build(Peer& document, int events) {
  PeerBuilder builder(document);
  auto* const declaration = document.allocate_node(rapidxml::node_declaration);
  builder.AddAttribute(declaration, {L"version", L"1.0"});
  builder.AddAttribute(declaration, {L"encoding", L"UTF-8"});
  document.append_node(declaration);
  auto* const root = builder.Add(&document, {kRootName, {}});
  auto* const machine = builder.Add(root, {kMachine, {}});
  for (const Item& fact : kFacts) builder.Add(machine, fact);
  auto* const software = builder.Add(root, {kSoftware, {}});
  for (const Item& attribute : kProduct) builder.AddAttribute(software, attribute);
  for (int i = 0; i < events; ++i) {
    auto* const event = builder.Add(software, {kEventName, {}});
    for (const Item& attribute : kAttributes) builder.AddAttribute(event, attribute);
    for (const Item& text : kTexts) builder.Add(event, text);
  }
}

std::wstring Print(const Peer& document, std::size_t length) {
  std::wstring text(length, L'\0');
  wchar_t* const end = rapidxml::print(text.data(), document, rapidxml::print_no_indenting);
  if (end != text.data() + length) text.clear();
  return text;
}

}  // namespace varnel::bench
