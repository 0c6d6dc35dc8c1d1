# What all our own code is compiled and linked with: target varnel_options, which varnel_library() and every program link.
# VARNEL_CHECKED makes a build that stops at undefined behaviour and at broken assertions of the C++ library.
add_library(varnel_options INTERFACE)
target_compile_features(varnel_options INTERFACE cxx_std_20)
if(WIN32)
  # Windows Vista is the oldest system that the statically linked C++ runtime starts on.
  target_compile_definitions(varnel_options INTERFACE
    UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX WINVER=0x0600 _WIN32_WINNT=0x0600)
endif()

if(MSVC)
  target_compile_definitions(varnel_options INTERFACE _CRT_SECURE_NO_WARNINGS _WINSOCK_DEPRECATED_NO_WARNINGS)
  target_compile_options(varnel_options INTERFACE "$<$<COMPILE_LANGUAGE:CXX>:/W4;/WX;/permissive-;/utf-8;/EHsc;/guard:cf>")
  target_link_options(varnel_options INTERFACE /guard:cf /DYNAMICBASE /NXCOMPAT)
  set(CMAKE_MSVC_RUNTIME_LIBRARY "MultiThreaded$<$<CONFIG:Debug>:Debug>")
  return()
endif()

set(warnings
  -Wall -Wextra -Wpedantic -Werror -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
  -Wzero-as-null-pointer-constant -Wsuggest-override -Wextra-semi)
if(CMAKE_CXX_COMPILER_ID STREQUAL Clang)
  set(warnings -Weverything -Werror
    -Wno-c++98-compat -Wno-c++98-compat-pedantic -Wno-pre-c++14-compat -Wno-pre-c++17-compat -Wno-c++20-compat # we are C++20
    -Wno-padded # members stand in the order in which they are read
    -Wno-switch-enum # a default stands for the kinds that are left
    -Wno-weak-vtables # COM interfaces are declared by the contract; the vtable of a small class may stand twice
    # DispatchImpl overrides a destructor or not, as its interface has one.
    -Wno-inconsistent-missing-destructor-override -Wno-suggest-destructor-override
    -Wno-reserved-identifier -Wno-reserved-macro-identifier # names that the platform prescribes
    -Wno-used-but-marked-unused) # mingw's own snprintf
endif()
target_compile_options(varnel_options INTERFACE
  "$<$<COMPILE_LANGUAGE:CXX>:${warnings}>")
if(NOT WIN32)
  if(VARNEL_CHECKED)
    target_compile_definitions(varnel_options INTERFACE _GLIBCXX_ASSERTIONS)
    set(sanitizers -fsanitize=address,undefined -fno-sanitize-recover=all)
    # Without optimisation the tests take longer than is saved; -g1 has function and line.
    target_compile_options(varnel_options INTERFACE ${sanitizers} -O1 -g1 -fno-omit-frame-pointer)
    target_link_options(varnel_options INTERFACE ${sanitizers})
  else()
    # Reads files that nobody vouches for; runs on systems with another C++ runtime.
    target_compile_definitions(varnel_options INTERFACE NDEBUG _FORTIFY_SOURCE=2)
    target_compile_options(varnel_options INTERFACE
      -O2 -fPIE -fstack-protector-strong -ffunction-sections -fdata-sections -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
    target_link_options(varnel_options INTERFACE
      -pie -static-libstdc++ -static-libgcc LINKER:--gc-sections,-z,relro,-z,now,--no-undefined)
  endif()
  return()
endif()
# -static: the C++ runtime comes inside; no time stamp: the same sources give the same bytes.
target_link_options(varnel_options INTERFACE
  -static
  LINKER:--no-undefined,--no-insert-timestamp,--dynamicbase,--nxcompat)
if(VARNEL_CHECKED)
  target_compile_definitions(varnel_options INTERFACE _GLIBCXX_ASSERTIONS)
  # For the library itself. Not optimised: nothing is removed before it is seen. Without alignment: the system's own
  # marshalling hands over interface identifiers at odd addresses, which these processors do not mind.
  set(VARNEL_TRAPS -fsanitize=undefined -fno-sanitize=alignment -fsanitize-undefined-trap-on-error)
else()
  target_compile_definitions(varnel_options INTERFACE NDEBUG)
  target_compile_options(varnel_options INTERFACE
    "$<$<COMPILE_LANGUAGE:CXX>:-O2;-ffunction-sections;-fdata-sections;-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>")
  # For the library itself, which defines the guard (src/runtime/stack_guard.cpp); ssp has the checked forms of memcpy and
  # its like.
  set(VARNEL_GUARDS -fstack-protector-strong -D_FORTIFY_SOURCE=2)
  set(VARNEL_GUARD_LIBRARY ssp)
  # For the library itself, whose symbols are kept apart (src/com/CMakeLists.txt).
  set(VARNEL_SYMBOLS -g)
  # --gc-sections removes 8 KB of constants that no code uses, most of them identifiers of libuuid. Functions stay, because
  # the linker keeps .pdata, which refers to each: one that is to be left out needs a file of its own, like src/xml/clone.cpp.
  # Sections that lie in the file as in memory can be mapped, which makes loading faster than reading them.
  target_link_options(varnel_options INTERFACE LINKER:--gc-sections,--file-alignment=4096)
endif()
