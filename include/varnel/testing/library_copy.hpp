// Part of <varnel/testing.hpp>: a copy of the library, loaded as a module of its own.
#pragma once

#include <string>
#include <varnel/testing/import_table.hpp>
#include <varnel/testing/private_folder.hpp>
#include <vector>

namespace varnel::testing::detail {

// Its import table, log settings and objects are its own: the original, whether the host has loaded it or
// not, is not touched. Unloaded by the destructor, which may only run while IsInUse returns false.
class LibraryCopy {
 public:
  LibraryCopy(const std::wstring& original, const std::wstring& copy) : path_(copy) {
    constexpr DWORD kNeedsFromSystemFolder = 0x800;  // as in Library::TryOpenFile
    if (!CopyFileW(original.c_str(), copy.c_str(), TRUE)) Refuse(original, "copied");
    SetFileAttributesW(copy.c_str(), FILE_ATTRIBUTE_NORMAL);  // a read-only copy could not be deleted
    module_ = LoadLibraryExW(copy.c_str(), nullptr, kNeedsFromSystemFolder);
    if (!module_) Refuse(original, "loaded");
  }
  ~LibraryCopy() {
    for (const Redirection& redirection : redirections_) WriteImport(redirection.place, redirection.original);
    // A varnel::Library whose reports outlived it has kept its reference.
    for (int references = 0; references < 2 && GetModuleHandleW(path_.c_str()) == module_; ++references)
      FreeLibrary(module_);
  }
  LibraryCopy(const LibraryCopy&) = delete;
  LibraryCopy& operator=(const LibraryCopy&) = delete;

  const std::wstring& Path() const noexcept { return path_; }

  // True while a report or an element of this module exists.
  bool IsInUse() const noexcept {
    auto* const mayUnload = reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(
        reinterpret_cast<void*>(GetProcAddress(module_, "DllCanUnloadNow")));
    return mayUnload && mayUnload() != S_OK;
  }

  // Lets the module call `replacement` instead of the function. Returns the function. Throws
  // std::runtime_error if the module does not import it.
  void* Redirect(const char* function, void* replacement) {
    void** const place = FindImport(module_, function);
    redirections_.reserve(redirections_.size() + 1);
    void* const original = place ? *place : nullptr;
    if (!place || !WriteImport(place, replacement))
      FailAgent(std::string("calls of ") + function + " cannot be redirected", ERROR_PROC_NOT_FOUND,
                "Pass the varnel.dll of a package.");
    redirections_.push_back({place, original});
    return original;
  }

 private:
  struct Redirection {
    void** place;
    void* original;
  };

  [[noreturn]] static void Refuse(const std::wstring& dll, const char* what) {
    FailAgent("the library " + varnel::detail::Quoted(std::wstring_view(dll)) + " cannot be " + what,
              GetLastError(),
              "Pass the full path of a varnel.dll for this kind of program, 64-bit or 32-bit.");
  }

  std::wstring path_;
  HMODULE module_ = nullptr;
  std::vector<Redirection> redirections_;
};

}  // namespace varnel::testing::detail
