// Memory runs short in every step of a report's life: for one allocation, and for all.

#include "dll/report_life.h"
#include "support/process.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <thread>

namespace varnel::test {
namespace {

// Memory is short for one allocation only: a call that failed for it succeeds when it is made again.
TEST_F(Failure, OfAnyAllocationIsAnAnswerAndLosesNothing) {
  WatchedHeap heap(library.Module());
  int refused = 0;
  const auto live = [&] {
    ReportLife life(library);
    for (const auto& step : life.Steps()) {
      const HRESULT result = step.call();
      if (result == S_OK) continue;
      EXPECT_TRUE(heap.HasFailed()) << step.name;
      EXPECT_EQ(E_OUTOFMEMORY, result) << step.name;
      EXPECT_EQ(S_OK, step.call()) << step.name;
      ++refused;
    }
    return TakeFiles(serverEvents) + TakeFiles(agentEvents);
  };
  const std::string whole = live();
  ASSERT_NE(whole, WithDefaultGuid(whole));
  constexpr int kWarmUp = 20;  // runtime and test library keep something from their first failures on
  std::size_t blocks = 0;
  int handles = 0;
  int points = 0;
  for (;; ++points) {
    SCOPED_TRACE(testing::Message() << "allocation " << points + 1);
    if (points == kWarmUp) {
      blocks = heap.LiveBlocks();
      handles = CountHandles();
    }
    heap.FailAllocation(points + 1);
    const std::string saved = live();
    if (!heap.HasFailed()) break;
    EXPECT_TRUE(saved == whole || saved == WithDefaultGuid(whole)) << saved;
    ASSERT_FALSE(HasFailure());
    if (points < kWarmUp) continue;
    ASSERT_EQ(blocks, heap.LiveBlocks());
    ASSERT_EQ(handles, CountHandles());
  }
  EXPECT_LT(kWarmUp, points);
  std::printf("figures: allocation failure: %d points, %d calls refused, no block lost\n", points, refused);
}

// No memory is left for the exception itself either, in a thread that has never met one.
TEST_F(Failure, OfEveryAllocationIsAnAnswer) {
  int refused = 0;
  const auto live = [&] {
    WatchedHeap heap(library.Module());
    ReportLife life(library);
    for (const auto& step : life.Steps()) {
      heap.FailAll(true);
      const HRESULT result = step.call();
      heap.FailAll(false);
      EXPECT_TRUE(result == S_OK || (result == E_OUTOFMEMORY && step.call() == S_OK)) << step.name;
      refused += result == E_OUTOFMEMORY;
    }
  };
  for (int i = 0; i < 3; ++i) std::jthread{live}.join();
  EXPECT_LT(20, refused);
}

// The record of a thread's exceptions goes with the thread or with the library, whichever is first.
struct Frees {
  static inline std::set<void*> freed;
  static inline int twice = 0;

  static void* Calloc(std::size_t count, std::size_t size) {
    void* const block = std::calloc(count, size);
    freed.erase(block);
    return block;
  }
  static void Free(void* block) {
    if (block && !freed.insert(block).second)
      ++twice;
    else
      std::free(block);
  }
};

TEST(Unloading, FreesEachRecordOnce) {
  const RegistrySandbox registry;
  const Library library;
  auto report = library.CreateReport();
  // They stay: what is freed while the library goes is what matters.
  (void)new ImportHook(library.Module(), "calloc", &Frees::Calloc);
  (void)new ImportHook(library.Module(), "free", &Frees::Free);
  {
    const ImportHook noMemory(library.Module(), "malloc", &NoMemory);
    for (int i = 0; i < 2; ++i) std::jthread([&] { EXPECT_EQ(E_OUTOFMEMORY, Initialize(*report)); }).join();
    EXPECT_EQ(E_OUTOFMEMORY, Initialize(*report));
  }
  report.Reset();
  EXPECT_TRUE(FreeLibrary(library.Module()));
  EXPECT_EQ(0, Frees::twice);
  EXPECT_NE(nullptr, LoadLibraryW(Library::Path().c_str())) << "for its owner to free";
}

// Performance that can be checked without a clock: a second allocation for an event would double its time,
// and a second copy of the text would double the memory of a large report.
TEST_F(Failure, AnEventTakesOneAllocationAndASaveTheBytesAlone) {
  constexpr int kEvents = 1000;
  const auto report = library.CreateReport();
  Initialize(*report);
  Fill(*report);
  ASSERT_EQ(S_OK, report->Save());
  TakeFiles(agentEvents);
  WatchedHeap heap(library.Module());
  SetText(kFramework, L"Data Path", folder.Path() + L"\\none\\");  // reading the event filter takes one more
  const int allocations = heap.Allocations();
  const std::size_t bytes = heap.LiveBytes();
  const Bstr name(L"Name");
  const Bstr text(L"some text of an event");
  for (int i = 0; i < kEvents; ++i) {
    ComPtr<IEventElement> event;
    ASSERT_EQ(S_OK, AddEvent(*report, 1, event));
    for (const wchar_t* const attribute : {L"A", L"B"})
      ASSERT_EQ(S_OK, event->SetAttributeString(Bstr(attribute), text));
    for (int child = 0; child < 5; ++child) ASSERT_EQ(S_OK, event->AddElementInto(name, text, nullptr));
  }
  EXPECT_GE(kEvents + kEvents / 10, heap.Allocations() - allocations);
  EXPECT_GE(800u * kEvents, heap.LiveBytes() - bytes);
  SetText(kFramework, L"Data Path", folder.Path() + L"\\");
  heap.TakePeakBytes();
  const std::size_t before = heap.LiveBytes();
  ASSERT_EQ(S_OK, report->Save());
  EXPECT_GE(TakeFiles(agentEvents).size() + 1000, heap.TakePeakBytes() - before);
}

}  // namespace
}  // namespace varnel::test
