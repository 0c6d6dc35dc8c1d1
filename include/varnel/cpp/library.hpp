// Part of <varnel/varnel.hpp>: the library that creates reports.
#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <string_view>
#include <type_traits>
#include <utility>
#include <varnel/cpp/error.hpp>

namespace varnel {
namespace detail {

struct Releaser {
  void operator()(IUnknown* object) const noexcept { object->Release(); }
};
template <class Interface>
using Reference = std::unique_ptr<Interface, Releaser>;

}  // namespace detail

// Initialises COM on this thread for its lifetime; harmless if the host has initialised COM already, in any
// apartment. It must outlive all reports and elements of the registered class: when COM is uninitialised, it
// may unload the library.
class ComScope {
 public:
  ComScope() noexcept : result_(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {}
  ~ComScope() {
    if (SUCCEEDED(result_)) CoUninitialize();
  }
  ComScope(const ComScope&) = delete;
  ComScope& operator=(const ComScope&) = delete;

 private:
  HRESULT result_;
};

// The library that creates reports. Create one and keep it as long as its reports. After it has been moved
// from, reports cannot be opened with it: that fails with kNoLibrary.
class Library {
 public:
  // Uses the registered class, or the class that the program's own manifest names; needs COM on the thread.
  // In a single-threaded apartment COM creates the object in another apartment, and each call costs a thread
  // switch.
  Library() noexcept = default;
  [[nodiscard]] static Library Registered() noexcept { return Library(); }

  Library(Library&& other) noexcept
      : module_(std::move(other.module_)), registered_(std::exchange(other.registered_, false)) {}
  Library& operator=(Library&& other) noexcept {
    Library moved(std::move(other));
    std::swap(module_, moved.module_);
    std::swap(registered_, moved.registered_);
    return *this;
  }

  template <class Form = detail::Throwing>
  [[nodiscard]] static Library FromFile(const wchar_t* dll) {
    Library library;
    Form::Check("Library::FromFile", library.TryOpenFile(dll), [&] { return detail::Quoted(Shown(dll)); });
    return library;
  }
  template <class Form = detail::Throwing>
  [[nodiscard]] static Library SideBySide(const wchar_t* manifest) {
    Library library;
    Form::Check("Library::SideBySide", library.TryOpenSideBySide(manifest),
                [&] { return detail::Quoted(Shown(manifest)); });
    return library;
  }

  // Uses the DLL with this full path, registered or not. The DLLs that it needs are loaded from the system
  // folder only. Unloads it with this object, unless a report or an element is still in use.
  [[nodiscard]] HRESULT TryOpenFile(const wchar_t* dll) noexcept {
    constexpr DWORD kNeedsFromSystemFolder = 0x800;  // LOAD_LIBRARY_SEARCH_SYSTEM32, which old headers lack
    if (!IsFull(dll)) return kBadPath;
    Module module(LoadLibraryExW(dll, nullptr, kNeedsFromSystemFolder));
    if (!module && GetLastError() == ERROR_INVALID_PARAMETER)  // WINDOWS 7: may lack the update with the flag
      module.reset(LoadLibraryExW(dll, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH));
    if (!module) return SystemResult(GetLastError());
    if (!Export<GetClassObject>(module.get(), "DllGetClassObject")) return SystemResult(ERROR_PROC_NOT_FOUND);
    module_ = std::move(module);
    return S_OK;
  }

  // Uses the DLL beside varnel.sxs.manifest, whose full path is `manifest`. Fails if Windows cannot use the
  // manifest in this program.
  [[nodiscard]] HRESULT TryOpenSideBySide(const wchar_t* manifest) noexcept {
    if (!IsFull(manifest)) return kBadPath;
    ACTCTXW request{};
    request.cbSize = sizeof(request);
    request.lpSource = manifest;
    void* const context = CreateActCtxW(&request);
    if (context == INVALID_HANDLE_VALUE) return SystemResult(GetLastError());
    ReleaseActCtx(context);
    constexpr std::wstring_view kName = L"varnel.dll";
    const std::wstring_view path(manifest);
    const std::size_t folder = path.find_last_of(L"\\/") + 1;
    const std::unique_ptr<wchar_t[]> dll(new (std::nothrow) wchar_t[folder + kName.size() + 1]());
    if (!dll) return E_OUTOFMEMORY;
    path.copy(dll.get(), folder);
    kName.copy(dll.get() + folder, kName.size());
    return TryOpenFile(dll.get());
  }

  // Creates a report object for a caller that uses the interfaces directly and owns the reference.
  [[nodiscard]] HRESULT TryCreate(IOrbaEventInf3** report) const noexcept {
    if (!module_ && !registered_) return kNoLibrary;
    void* made = nullptr;
    const HRESULT result = module_ ? CreateFromFile(&made)
                                   : CoCreateInstance(__uuidof(OrbaEventInf), nullptr, CLSCTX_INPROC_SERVER,
                                                      __uuidof(IOrbaEventInf3), &made);
    if (SUCCEEDED(result)) *report = static_cast<IOrbaEventInf3*>(made);
    return result;
  }

 private:
  using GetClassObject = HRESULT STDAPICALLTYPE(REFCLSID, REFIID, void**);
  struct ModuleCloser {
    void operator()(HMODULE module) const noexcept {
      auto* const mayUnload = Export<HRESULT STDAPICALLTYPE()>(module, "DllCanUnloadNow");
      if (!mayUnload || mayUnload() == S_OK) FreeLibrary(module);
    }
  };
  using Module = std::unique_ptr<std::remove_pointer_t<HMODULE>, ModuleCloser>;

  template <class Function>
  static Function* Export(HMODULE module, const char* name) noexcept {
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module, name)));
  }

  static std::wstring_view Shown(const wchar_t* path) noexcept {
    return path ? path : std::wstring_view(L"null");
  }
  static bool IsFull(const wchar_t* path) noexcept {
    if (!path || !path[0]) return false;
    const bool slash = path[0] == L'\\' || path[0] == L'/';
    return slash ? path[1] == path[0] : path[1] == L':' && (path[2] == L'\\' || path[2] == L'/');
  }

  HRESULT CreateFromFile(void** report) const noexcept {
    auto* const getClassObject = Export<GetClassObject>(module_.get(), "DllGetClassObject");
    void* made = nullptr;
    const HRESULT result = getClassObject(__uuidof(OrbaEventInf), __uuidof(IClassFactory), &made);
    if (FAILED(result)) return result;
    const detail::Reference<IClassFactory> factory(static_cast<IClassFactory*>(made));
    return factory->CreateInstance(nullptr, __uuidof(IOrbaEventInf3), report);
  }

  Module module_;
  bool registered_ = true;  // if module_ is empty, uses the registered class; false after a move
};

}  // namespace varnel
