# Flags of our own code. Link varnel_options into every target that we compile.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE OFF)

add_library(varnel_options INTERFACE)
# Windows Vista is the oldest system that the statically linked C++ runtime starts on.
target_compile_definitions(varnel_options INTERFACE
  UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX WINVER=0x0600 _WIN32_WINNT=0x0600)

if(MSVC)
  target_compile_definitions(varnel_options INTERFACE _CRT_SECURE_NO_WARNINGS)
  target_compile_options(varnel_options INTERFACE /W4 /WX /permissive- /utf-8 /EHsc /guard:cf)
  target_link_options(varnel_options INTERFACE /guard:cf /DYNAMICBASE /NXCOMPAT)
  set(CMAKE_MSVC_RUNTIME_LIBRARY "MultiThreaded$<$<CONFIG:Debug>:Debug>")
else()
  target_compile_options(varnel_options INTERFACE
    $<$<COMPILE_LANGUAGE:CXX>:-Wall;-Wextra;-Wpedantic;-Werror;-Wshadow;-Wconversion;-Wsign-conversion
    -Wold-style-cast;-Wzero-as-null-pointer-constant;-Wsuggest-override;-Wextra-semi
    -ffunction-sections;-fdata-sections;-fstack-protector-strong>)
  target_compile_definitions(varnel_options INTERFACE
    $<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS> $<$<AND:$<CONFIG:Release>,$<NOT:$<BOOL:${VARNEL_TRAP_UNDEFINED}>>>:_FORTIFY_SOURCE=2>)
  if(VARNEL_TRAP_UNDEFINED)
    # Without alignment: the system's own marshalling hands over interface identifiers at odd addresses, which these
    # processors do not mind.
    target_compile_options(varnel_options INTERFACE
      -fsanitize=undefined -fno-sanitize=alignment -fsanitize-undefined-trap-on-error)
  endif()
  # -static: the C++ runtime and winpthread come inside; no time stamp: the same sources give the same bytes.
  target_link_options(varnel_options INTERFACE
    -static -fstack-protector-strong -Wl,--gc-sections,--no-undefined,--no-insert-timestamp,--dynamicbase,--nxcompat
    $<$<CONFIG:Release>:-s>)
  set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.")
  if(VARNEL_TRAP_UNDEFINED)
    set(CMAKE_CXX_FLAGS_RELEASE "-O0") # a third of the time to build, and nothing is optimised away before it is seen
  endif()
endif()
