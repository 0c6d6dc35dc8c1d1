// What the tree, its text and a dropped log line cost, against rapidxml and memcpy. Prints lines for
// report.py; returns 1 when the peer's document is not ours.

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

// So many documents that a round takes some milliseconds.
int TimesFor(int events) {
  return std::max(1, 2000 / (events + 1));
}

std::string Figure(const char* what, int events) {
  return std::string(what) + ", N = " + std::to_string(events);
}

// Reports outlive the function that begins them, so both lie on the heap.
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

void CompareTrees() {
  for (const auto& [events, goal] : {std::pair(1, 0.5), {10, 0.6}, {100, 0.6}, {1000, 0.6}, {20000, 0.6}}) {
    const Comparison result = Compare(
        kRounds, TimesFor(events), [events = events] { Use(MakeOurs(events)); },
        [events = events] { Use(MakePeer(events)); });
    PrintRow(Figure("tree: build and free, against rapidxml", events).c_str(), result, "ns", goal);
  }
}

// A finished text copied into a fresh string.
struct Texts {
  explicit Texts(int events) : document(MakeOurs(events)), finished(document->ToString(false)) {}
  void Make() const { Use(document->ToString(false)); }
  void Copy() const { Use(std::wstring(finished.data(), finished.size())); }

  std::unique_ptr<Document> document;
  std::wstring finished;
};

bool CompareTexts() {
  for (const int events : {10, 100}) {
    const Texts texts(events);
    const auto peer = MakePeer(events);
    if (Print(*peer, texts.finished.size()) != texts.finished) return false;
    const auto print = [&] { Use(Print(*peer, texts.finished.size())); };
    PrintRow(Figure("text, against rapidxml into a pre-sized string", events).c_str(),
             Compare(
                 kRounds, TimesFor(events), [&] { texts.Make(); }, print),
             "ns", 1 / 5.0);
  }
  for (const int events : {1000, 20000}) {
    const Texts texts(events);
    PrintRow(Figure("text, against memcpy into a fresh string", events).c_str(),
             Compare(
                 kRounds, TimesFor(events), [&] { texts.Make(); }, [&] { texts.Copy(); }),
             "ns", 1.5);
  }
  return true;
}

void CompareGrowth() {
  constexpr int kSmall = 100;
  constexpr int kLarge = 20000;
  const int times = kLarge / kSmall;
  auto small = [] {
    for (int i = 0; i < kLarge / kSmall; ++i) Use(MakeOurs(kSmall));
  };
  PrintRow("growth: 20,000 events built and freed, in one document against in 200",
           Compare(
               kRounds, 1, [] { Use(MakeOurs(kLarge)); }, small),
           "ns", 1.0);

  const Texts few(kSmall);
  const Texts many(kLarge);
  std::vector<double> ratios;
  std::vector<double> above[2];
  for (int round = 0; round < kRounds; ++round) {
    const auto cost = [](const Texts& texts, int count) {
      auto make = [&] { texts.Make(); };
      auto copy = [&] { texts.Copy(); };
      return (Time(count, make) - Time(count, copy)) * count;
    };
    above[0].push_back(cost(many, 1));
    above[1].push_back(cost(few, times));
    ratios.push_back(above[0].back() / above[1].back());
  }
  PrintRow("growth: time of text above memcpy, 20,000 events at once against 200 times 100",
           {Median(above[0]), Median(above[1]), Median(ratios)}, "ns", 2.0);
}

// Bytes that the C runtime's heap has given out.
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

// Both take what a log line takes; ours is dropped.
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
  CompareTrees();
  if (!CompareTexts()) {
    std::fprintf(stderr, "the peer's document is another one\n");
    return 1;
  }
  CompareGrowth();
  CompareMemory();
  CompareLogLines();
  return 0;
}
