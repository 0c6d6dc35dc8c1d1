#include "eventfile/event_text.h"

#include "console/printable.h"
#include "console/utf8.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <utility>

namespace varnel::tool {
namespace {

constexpr std::ptrdiff_t kLongestText = 200;  // characters of a value in one line

std::ptrdiff_t Length(std::string_view text) {
  return std::count_if(text.begin(), text.end(), [](char byte) { return !ContinuesUtf8(byte); });
}

// Writes lines as long as the allowance permits, and says where and how many are left out.
class Lines {
 public:
  explicit Lines(Sink sink) : sink_(std::move(sink)) {}
  // Writes a line about a part of the file that ends at `offset` or later. `beside` bytes may be printed
  // with it.
  void Add(std::size_t offset, const std::string& line, std::size_t beside = 0) {
    if (line.size() + beside + kNotice > allowance_.Left(offset)) {
      ++leftOut_;
      return;
    }
    SayLeftOut();
    sink_(line);
    allowance_.Use(line.size() + beside);
  }
  void SayLeftOut() {
    if (leftOut_ == 0) return;
    const std::string notice =
        "... " + std::to_string(leftOut_) + " lines left out: too long for a file of this size\n";
    sink_(notice);
    allowance_.Use(notice.size());
    leftOut_ = 0;
  }

 private:
  static constexpr std::size_t kNotice = 100;

  const Sink sink_;
  Allowance allowance_;
  std::size_t leftOut_ = 0;
};

// Writes elements with their notes.
class Tree {
 public:
  Tree(const EventDocument& document, const std::vector<PlacedEvent>& events, const EventNotes& notes,
       const Sink& sink)
      : document_(document), events_(events), notes_(notes), lines_(sink) {}
  void Write() {
    std::string path;
    Add(document_.root, 1, path);
    lines_.SayLeftOut();
  }

 private:
  // `path` leads to the element, if it is part of an event that has notes; otherwise it is empty.
  void Add(const Element& element, std::size_t depth, std::string& path) {
    std::string line(depth * 2, ' ');
    line += Shortened(element.Name());
    std::size_t end = element.Offset() + element.Name().size() + element.Text().size();
    for (const auto [name, value] : element.Attributes()) {
      line += " " + Shortened(name) + "=\"" + Shortened(value) + "\"";
      end += name.size() + value.size();
    }
    if (!IsBlank(element.Text())) line += ": " + Shortened(element.Text());
    if (element.Is(kEventFacts[0]))
      if (const auto name = notes_.names.find(element.Text()); name != notes_.names.end())
        line += "  # " + Shortened(name->second);
    lines_.Add(end, line + '\n');
    if (!path.empty()) AddNotes(element, end, depth + 1, path);
    for (const Element child : element.Children()) AddChild(element, child, depth + 1, path);
  }
  void AddChild(const Element& parent, const Element& child, std::size_t depth, std::string& path) {
    const std::size_t length = path.size();
    if (parent == document_.product && IsEvent(child)) {
      if (next_ == events_.size() || !(events_[next_].element == child)) return;
      ++next_;
      path = child.Name();
    } else if (!path.empty()) {
      path.append("/").append(child.Name());
    }
    std::string none;
    Add(child, depth, notes_.texts.contains(path) ? path : none);
    path.resize(length);
  }
  void AddNotes(const Element& element, std::size_t end, std::size_t depth, std::string& path) {
    AddNote(end, depth, path, "");
    const std::size_t length = path.size();
    for (const auto [name, value] : element.Attributes()) {
      path.append("/@").append(name);
      AddNote(end, depth, path, name);
      path.resize(length);
    }
  }
  void AddNote(std::size_t end, std::size_t depth, const std::string& path, std::string_view attribute) {
    const auto note = notes_.texts.find(path);
    if (note == notes_.texts.end() || note->second.empty() || !said_.insert(note->first).second) return;
    std::string line(depth * 2, ' ');
    line.append("# ").append(Shortened(attribute)).append(attribute.empty() ? "" : ": ");
    lines_.Add(end, line + Shortened(note->second) + '\n');
  }

  const EventDocument& document_;
  const std::vector<PlacedEvent>& events_;
  std::size_t next_ = 0;  // in events_
  const EventNotes& notes_;
  Lines lines_;
  std::set<std::string_view> said_;  // paths whose note has been written
};

}  // namespace

std::string Shortened(std::string_view text) {
  std::size_t end = 0;
  for (std::ptrdiff_t length = 0; end < text.size(); ++end)
    if (!ContinuesUtf8(text[end]) && length++ == kLongestText) break;
  if (end == text.size()) return Printable(text);
  return Printable(text.substr(0, end)) + "... (" + std::to_string(Length(text)) + " characters)";
}

std::string Column(std::string_view text, int width) {
  const std::string shown = Shortened(text);
  const auto missing = std::max<std::ptrdiff_t>(std::abs(width) - Length(shown), 0);
  const std::string blanks(static_cast<std::size_t>(missing), ' ');
  return width < 0 ? blanks + shown : shown + blanks;
}

std::string MachineColumn(std::string_view name) {
  return Column(name, 16) + "  ";
}

void ListEvents(const EventDocument& document, const std::vector<PlacedEvent>& events,
                const EventNotes& notes, bool showsMachine, const EventSink& sink) {
  const std::string machine = MachineColumn(Facts(document.machine, kMachineFacts).Text(0));
  const PlacedEvent* current = nullptr;
  Lines lines([&](std::string_view line) {
    if (showsMachine)
      sink(*current, machine + std::string(line));
    else
      sink(*current, line);
  });
  const std::string file = Shortened(document.FileName());
  const std::string product = Column(std::string(AttributeOf(document.product, "ProductName")) + " " +
                                         std::string(AttributeOf(document.product, "ProductVersion")),
                                     24);
  for (const PlacedEvent& event : events) {
    current = &event;
    const Facts facts(event.element, kEventFacts);
    std::string name(event.element.Name());
    if (const auto declared = notes.names.find(facts.Text(0));
        declared != notes.names.end() && declared->second != name)
      name = Shortened(name) + " (" + declared->second + ")";
    lines.Add(event.element.LastOffset(),
              Column(facts.Text(2), 19) + Column(facts.Text(1), -4) + Column(facts.Text(0), -7) + "  " +
                  Column(name, 24) + "  " + product + "  " + file + "\n",
              machine.size());
  }
  lines.SayLeftOut();
}

void ListElements(const EventDocument& document, const std::vector<PlacedEvent>& events,
                  const EventNotes& notes, const Sink& sink) {
  sink(Printable(document.path) + "\n");
  Tree(document, events, notes, sink).Write();
}

}  // namespace varnel::tool
