// Measures a report from its texts to its bytes against rapidxml and against writing without a tree, and the
// cost of a dropped log line. Prints lines for report.py; returns 1 if the bytes differ.

#include "documents.h"
#include "logging/log_writer.h"
#include "measure.h"

#include <malloc.h>

#include <cstring>
#include <memory>
#include <string>

namespace varnel::bench {
namespace {

using AdvXMLParser::Document;

constexpr int kRounds = 31;

// Returns the number of documents for a round of some milliseconds.
int TimesFor(int events) {
  return std::max(1, 2000 / (events + 1));
}

std::string Figure(const char* what, int events) {
  return std::string(what) + ", N = " + std::to_string(events);
}

// Both are allocated from the heap, because reports outlive the function that creates them.
std::unique_ptr<Document> MakeOurs(int events) {
  auto document = std::make_unique<Document>(kRootName);
  Build(*document, events);
  return document;
}
std::unique_ptr<Peer> MakePeer(int events) {
  auto document = std::make_unique<Peer>();
  Build(*document, events);
  return document;
}

// Produces the same bytes in three ways: builds them from wide texts, converts and frees.
class Contest {
 public:
  explicit Contest(int events) : events_(events) {
    const auto document = MakeOurs(events);
    size_ = document->ToUtf8().size;
    units_ = document->ToString(false).size();
  }

  void Ours() const { Use(MakeOurs(events_)->ToUtf8().bytes); }
  std::unique_ptr<char[]> Peers() const {
    const std::wstring text = Print(*MakePeer(events_), units_);
    const auto length = static_cast<int>(text.size());
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    auto bytes = std::make_unique_for_overwrite<char[]>(static_cast<std::size_t>(size));
    WideCharToMultiByte(CP_UTF8, 0, text.data(), length, bytes.get(), size, nullptr, nullptr);
    return bytes;
  }
  bool AllAreTheSame() const {
    const AdvXMLParser::Utf8Text ours = MakeOurs(events_)->ToUtf8();
    return std::memcmp(ours.bytes.get(), Peers().get(), size_) == 0 &&
           std::memcmp(ours.bytes.get(), WriteAtOnce(events_).get(), size_) == 0;
  }

 private:
  int events_;
  std::size_t size_;
  std::size_t units_;
};

bool CompareReports() {
  for (const auto& [events, goal] :
       {std::pair(1, 0.45), {10, 0.35}, {100, 0.35}, {1000, 0.35}, {20000, 0.35}}) {
    const Contest contest(events);
    if (!contest.AllAreTheSame()) return false;
    const auto ours = [&] { contest.Ours(); };
    PrintRow(
        Figure("report from texts to bytes, against rapidxml and the system's conversion", events).c_str(),
        Compare(kRounds, TimesFor(events), ours, [&] { Use(contest.Peers()); }), "ns", goal);
    PrintRow(Figure("report from texts to bytes, against writing without a tree", events).c_str(),
             Compare(kRounds, TimesFor(events), ours, [events = events] { Use(WriteAtOnce(events)); }), "ns",
             1.6);
  }
  return true;
}

// Memory of the heap that has been used and freed before: a used block follows each free block, as in a host
// process that does other work. Free memory at the end of the heap would be returned to Windows.
class KeptMemory {
 public:
  KeptMemory() {
    std::vector<Bytes> free;
    for (int i = 0; i < 8; ++i) {
      free.push_back(Allocate(400'000));
      behind_.push_back(Allocate(20'000));  // small blocks are allocated elsewhere
    }
  }

 private:
  static Bytes Allocate(std::size_t size) {
    char* const block = static_cast<char*>(std::malloc(size));
    std::memset(block, 0, size);
    return Bytes(block);
  }

  std::vector<Bytes> behind_;
};

void CompareInKeptMemory() {
  const KeptMemory kept;
  for (const int events : {100, 1000}) {
    const Contest contest(events);
    PrintRow(Figure("the same, in memory that the heap keeps", events).c_str(),
             Compare(
                 kRounds, TimesFor(events), [&] { contest.Ours(); }, [&] { Use(WriteAtOnce(events)); }),
             "ns", 1.6);
  }
}

void CompareTrees() {
  for (const int events : {1, 1000}) {
    const Comparison result = Compare(
        kRounds, TimesFor(events), [&] { Use(MakeOurs(events)); }, [&] { Use(MakePeer(events)); });
    PrintRow(Figure("the tree alone, against rapidxml's", events).c_str(), result, "ns", kInformation);
  }
}

// Returns the bytes that are allocated from the C runtime's heap.
double HeapBytes() {
  double bytes = 0;
  _HEAPINFO entry{};
  while (_heapwalk(&entry) == _HEAPOK)
    if (entry._useflag == _USEDENTRY) bytes += static_cast<double>(entry._size);
  return bytes;
}

void CompareMemory() {
  constexpr int kEvents = 1000;
  const double before = HeapBytes();
  const auto document = MakeOurs(kEvents);
  const double between = HeapBytes();
  const auto peer = MakePeer(kEvents);
  const double ours = (between - before) / kEvents;
  const double theirs = (HeapBytes() - between) / kEvents;
  PrintRow("memory of an event, N = 1000, against rapidxml's pools", {ours, theirs, ours / theirs}, "bytes",
           0.8);
}

void Nothing(std::int32_t, const wchar_t*, const wchar_t*, ...) noexcept {}

// Both take the arguments of a log line; ours is dropped.
void (*volatile g_empty)(std::int32_t, const wchar_t*, const wchar_t*, ...) noexcept = Nothing;
void (*volatile g_log)(std::int32_t, const wchar_t*, const wchar_t*, ...) noexcept = LogMessage;

void CompareLogLines() {
  const auto call = [](auto* function) {
    function(kLevelDetail, L"Quorvel", L"%x CreateEventElement %s|%d|%d", 0xCA5F60, L"ThreatDetected", 1024,
             3);
  };
  Comparison result = Compare(
      kRounds, 1'000'000, [&] { call(g_log); }, [&] { call(g_empty); });
  result.peer += 3;
  result.ratio = result.ours / result.peer;
  PrintRow("dropped log line, against an empty variadic function and 3 ns", result, "ns", 1.0);
}

}  // namespace
}  // namespace varnel::bench

int main() {
  using namespace varnel::bench;
  if (!CompareReports()) {
    std::fprintf(stderr, "the bytes of the three are not the same\n");
    return 1;
  }
  CompareInKeptMemory();
  CompareTrees();
  CompareMemory();
  CompareLogLines();
  return 0;
}
