// Part of <varnel/testing.hpp>: the library whose calls into Windows are redirected.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <varnel/testing/agent_settings.hpp>
#include <varnel/testing/faults.hpp>
#include <varnel/testing/library_copy.hpp>
#include <vector>

namespace varnel::testing {

inline constexpr std::size_t kMostAgents = 16;  // at a time in one process

namespace detail {

class CapturedLibrary;
// A redirected function gets no context: so each captured library has functions of its own, which find the
// library by its number here.
inline std::atomic<CapturedLibrary*> g_captured[kMostAgents];
inline SRWLOCK g_capturedLock{};  // held while entries change, and while they are searched

class CapturedLibrary {
 public:
  // Throws std::runtime_error if the library cannot be captured.
  explicit CapturedLibrary(const std::wstring& dll)
      : number_(this), copy_(dll, folder_.File(L"varnel-captured.dll")) {
    if (!mutex_ || !mutexIsFree_ || !someoneWaits_)
      FailAgent("a mutex or an event cannot be made", GetLastError(), "Close other programs.");
    RedirectAll(std::make_index_sequence<kMostAgents>());
  }
  CapturedLibrary(const CapturedLibrary&) = delete;
  CapturedLibrary& operator=(const CapturedLibrary&) = delete;

  const PrivateFolder& Folder() const noexcept { return folder_; }
  const std::wstring& Path() const noexcept { return copy_.Path(); }
  Faults& GetFaults() noexcept { return faults_; }

  // Destroys the library; if a report of it still exists, the next call of Retire or RemoveRetired after the
  // report's end does. Until then the library finds no settings, so the agent counts as unmanaged.
  static void Retire(std::unique_ptr<CapturedLibrary> library) noexcept {
    library->faults_.DisarmAll();
    library->FreeMutex();
    library->ChangeSettings([](AgentSettings& settings) { settings.Clear(); });
    library.release()->isRetired_ = true;
    RemoveRetired();
  }
  static void RemoveRetired() noexcept {
    for (const auto& entry : g_captured) {
      std::unique_ptr<CapturedLibrary> unused;  // destroyed without the lock
      const ExclusiveLock lock(g_capturedLock);
      CapturedLibrary* const candidate = entry;
      if (!candidate || !candidate->isRetired_ || candidate->copy_.IsInUse()) continue;
      candidate->isRetired_ = false;
      unused.reset(candidate);
    }
  }

  // Calls change(settings) while the library does not read them.
  template <class Change>
  void ChangeSettings(Change change) {
    const ExclusiveLock lock(lock_);
    change(settings_);
  }

  // Returns the paths of event files in the order in which they were created, those that were deleted
  // after a failure among them.
  std::vector<std::wstring> CreatedPaths() {
    const ExclusiveLock lock(lock_);
    return created_;
  }
  void ForgetCreatedPaths() noexcept {
    const ExclusiveLock lock(lock_);
    created_.clear();
  }
  // Returns what the library has printed since the last call, an entry for each line.
  std::vector<std::string> TakeOutput() {
    const ExclusiveLock lock(lock_);
    return std::exchange(output_, {});
  }

  void HoldMutex() noexcept {
    ResetEvent(someoneWaits_.get());
    ResetEvent(mutexIsFree_.get());
  }
  void FreeMutex() noexcept { SetEvent(mutexIsFree_.get()); }
  bool AwaitWaiter(DWORD milliseconds) const noexcept {
    return WaitForSingleObject(someoneWaits_.get(), milliseconds) == WAIT_OBJECT_0;
  }
  // Calls work() while no event file is being written.
  template <class Work>
  void WhileNothingIsWritten(Work work) {
    struct Release {
      void operator()(void* mutex) const noexcept { ReleaseMutex(mutex); }
    };
    WaitForSingleObject(mutex_.get(), INFINITE);
    const std::unique_ptr<void, Release> owned(mutex_.get());
    work();
  }

 private:
  // The library's place in g_captured.
  class Number {
   public:
    explicit Number(CapturedLibrary* owner) {
      const ExclusiveLock lock(g_capturedLock);
      while (value_ < kMostAgents && g_captured[value_]) ++value_;
      if (value_ == kMostAgents)
        FailAgent("this process has 16 agents", ERROR_TOO_MANY_NAMES,
                  "Destroy one, and first its reports and their elements.");
      g_captured[value_] = owner;
    }
    ~Number() {
      const ExclusiveLock lock(g_capturedLock);
      g_captured[value_] = nullptr;
    }
    Number(const Number&) = delete;
    Number& operator=(const Number&) = delete;
    std::size_t Value() const noexcept { return value_; }

   private:
    std::size_t value_ = 0;
  };

  template <auto method, std::size_t number, class Result, class... Parameters>
  static Result WINAPI ForwardSystem(Parameters... parameters) noexcept {
    return (g_captured[number].load()->*method)(parameters...);
  }
  template <auto method, std::size_t number, class Result, class... Parameters>
  static Result __cdecl ForwardRuntime(Parameters... parameters) noexcept {
    return (g_captured[number].load()->*method)(parameters...);
  }

  // Redirects a function of Windows to a method with the same parameters. `function` gives the type.
  template <auto method, std::size_t... numbers, class Result, class... Parameters>
  void RedirectSystem(std::index_sequence<numbers...>, const char* name,
                      [[maybe_unused]] Result(WINAPI* function)(Parameters...)) {
    const decltype(function) forms[] = {&ForwardSystem<method, numbers, Result, Parameters...>...};
    (void)copy_.Redirect(name, reinterpret_cast<void*>(forms[number_.Value()]));
  }
  // Redirects a function of the library's C runtime, of which the host may have another one, and keeps it in
  // `original`.
  template <auto method, std::size_t... numbers, class Result, class... Parameters>
  void RedirectRuntime(std::index_sequence<numbers...>, const char* name,
                       Result(__cdecl*& original)(Parameters...)) {
    using Function = Result(__cdecl*)(Parameters...);
    const Function forms[] = {&ForwardRuntime<method, numbers, Result, Parameters...>...};
    original =
        reinterpret_cast<Function>(copy_.Redirect(name, reinterpret_cast<void*>(forms[number_.Value()])));
  }

  template <class Numbers>
  void RedirectAll(Numbers all) {
    using This = CapturedLibrary;
    RedirectSystem<&This::OpenKey>(all, "RegOpenKeyExW", &RegOpenKeyExW);
    RedirectSystem<&This::QueryValue>(all, "RegQueryValueExW", &RegQueryValueExW);
    RedirectSystem<&This::QueryNarrowValue>(all, "RegQueryValueExA", &RegQueryValueExA);
    RedirectSystem<&This::CloseKey>(all, "RegCloseKey", &RegCloseKey);
    RedirectSystem<&This::OpenFile>(all, "CreateFileW", &CreateFileW);
    RedirectSystem<&This::OpenFilter>(all, "CreateFileA", &CreateFileA);
    RedirectSystem<&This::WriteReport>(all, "WriteFile", &WriteFile);
    RedirectSystem<&This::CreateSaveMutex>(all, "CreateMutexW", &CreateMutexW);
    RedirectSystem<&This::OpenSaveMutex>(all, "OpenMutexW", &OpenMutexW);
    RedirectSystem<&This::Wait>(all, "WaitForSingleObject", &WaitForSingleObject);
    RedirectSystem<&This::AllocateText>(all, "SysAllocString", &SysAllocString);
    RedirectRuntime<&This::Allocate>(all, "malloc", malloc_);
    RedirectRuntime<&This::AllocateZeroed>(all, "calloc", calloc_);
    RedirectRuntime<&This::Reallocate>(all, "realloc", realloc_);
    RedirectRuntime<&This::Print>(all, "fwrite", fwrite_);
  }

  // The methods below have the parameters and results of the functions that they stand for.

  LSTATUS OpenKey(HKEY root, const wchar_t* path, DWORD options, REGSAM access, HKEY* key) {
    if (root != HKEY_LOCAL_MACHINE || !AgentSettings::Covers(path))
      return RegOpenKeyExW(root, path, options, access, key);
    const ExclusiveLock lock(lock_);
    *key = settings_.Open(path);
    return *key ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
  }
  LSTATUS QueryValue(HKEY key, const wchar_t* name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size) {
    if (!AgentSettings::Owns(key)) return RegQueryValueExW(key, name, reserved, type, data, size);
    const ExclusiveLock lock(lock_);
    return settings_.Query(key, name, type, data, size);
  }
  LSTATUS QueryNarrowValue(HKEY key, const char* name, DWORD* reserved, DWORD* type, BYTE* data,
                           DWORD* size) {
    if (!AgentSettings::Owns(key)) return RegQueryValueExA(key, name, reserved, type, data, size);
    const ExclusiveLock lock(lock_);
    return settings_.QueryNarrow(key, name, type, data, size);
  }
  LSTATUS CloseKey(HKEY key) { return AgentSettings::Owns(key) ? ERROR_SUCCESS : RegCloseKey(key); }

  bool IsInFolder(const std::wstring& path) const noexcept {
    return path.compare(0, folder_.Path().size(), folder_.Path()) == 0;
  }
  HANDLE OpenFile(const wchar_t* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                  DWORD disposition, DWORD flags, HANDLE form) {
    // The machine's trace viewer is not this agent's.
    DWORD error = _wcsicmp(path, L"\\\\.\\mailslot\\TarvoTrace") == 0 ? ERROR_FILE_NOT_FOUND : ERROR_SUCCESS;
    const bool isReport = (access & GENERIC_WRITE) != 0 && IsInFolder(path);
    if (isReport && faults_.HappensNow(Fault::kAccessDenied)) error = ERROR_ACCESS_DENIED;
    if (error != ERROR_SUCCESS) {
      SetLastError(error);
      return INVALID_HANDLE_VALUE;
    }
    void* const file = CreateFileW(path, access, share, security, disposition, flags, form);
    if (!isReport || file == INVALID_HANDLE_VALUE) return file;
    error = GetLastError();
    Remember(path);
    SetLastError(error);  // ERROR_ALREADY_EXISTS tells the library that it opened an older file
    return file;
  }
  void Remember(const wchar_t* path) {
    const ExclusiveLock lock(lock_);
    if (std::find(created_.begin(), created_.end(), path) == created_.end()) created_.emplace_back(path);
  }
  // The filter is the only file that the library opens by a narrow path, in which not every folder's name can
  // be written.
  HANDLE OpenFilter(const char* /*path*/, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                    DWORD disposition, DWORD flags, HANDLE form) {
    const ExclusiveLock lock(lock_);  // the agent replaces the file under it
    return CreateFileW((folder_.Path() + L"\\data\\EvtFiltr.ini").c_str(), access, share, security,
                       disposition, flags, form);
  }
  BOOL WriteReport(HANDLE file, const void* bytes, DWORD size, DWORD* written, OVERLAPPED* overlapped) {
    if (!faults_.HappensNow(Fault::kDiskFull)) return WriteFile(file, bytes, size, written, overlapped);
    WriteFile(file, bytes, size / 2, written, overlapped);
    SetLastError(ERROR_DISK_FULL);
    return FALSE;
  }

  HANDLE CreateSaveMutex(SECURITY_ATTRIBUTES* /*security*/, BOOL /*owned*/, const wchar_t* /*name*/) {
    HANDLE mutex = nullptr;
    DuplicateHandle(GetCurrentProcess(), mutex_.get(), GetCurrentProcess(), &mutex, 0, FALSE,
                    DUPLICATE_SAME_ACCESS);
    return mutex;
  }
  HANDLE OpenSaveMutex(DWORD /*access*/, BOOL /*inherited*/, const wchar_t* name) {
    return CreateSaveMutex(nullptr, FALSE, name);
  }
  DWORD Wait(HANDLE mutex, DWORD milliseconds) {
    if (faults_.HappensNow(Fault::kMutexHeld)) {
      SetEvent(someoneWaits_.get());
      WaitForSingleObject(mutexIsFree_.get(), INFINITE);
    }
    return WaitForSingleObject(mutex, milliseconds);
  }

  template <class Work>
  auto IfThereIsMemory(Work work) -> decltype(work()) {
    return faults_.HappensNow(Fault::kNoMemory) ? nullptr : work();
  }
  BSTR AllocateText(const OLECHAR* text) {
    return IfThereIsMemory([&] { return SysAllocString(text); });
  }
  void* Allocate(std::size_t size) {
    return IfThereIsMemory([&] { return malloc_(size); });
  }
  void* AllocateZeroed(std::size_t count, std::size_t size) {
    return IfThereIsMemory([&] { return calloc_(count, size); });
  }
  void* Reallocate(void* block, std::size_t size) {
    return IfThereIsMemory([&] { return realloc_(block, size); });
  }
  // The library prints log lines only, each with one call.
  std::size_t Print(const void* text, std::size_t size, std::size_t count, void* /*stream*/) {
    const ExclusiveLock lock(lock_);
    output_.emplace_back(static_cast<const char*>(text), size * count);
    return count;
  }

  const PrivateFolder folder_;
  SRWLOCK lock_{};  // guards the next three
  AgentSettings settings_;
  std::vector<std::wstring> created_;
  std::vector<std::string> output_;
  Faults faults_;
  std::atomic<bool> isRetired_{false};
  const Handle mutex_{CreateMutexW(nullptr, FALSE, nullptr)};
  const Handle mutexIsFree_{CreateEventW(nullptr, TRUE, TRUE, nullptr)};
  const Handle someoneWaits_{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
  void*(__cdecl* malloc_)(std::size_t) = nullptr;
  void*(__cdecl* calloc_)(std::size_t, std::size_t) = nullptr;
  void*(__cdecl* realloc_)(void*, std::size_t) = nullptr;
  std::size_t(__cdecl* fwrite_)(const void*, std::size_t, std::size_t, void*) = nullptr;
  const Number number_;
  LibraryCopy copy_;  // the last: while it exists, its calls may arrive
};

}  // namespace detail
}  // namespace varnel::testing
