# varnel_library(NAME SOURCES file... [USES library...] [SYSTEM library...])
#   target varnel_NAME: one folder of src/ as a static library. USES names other folders, SYSTEM libraries of Windows.
function(varnel_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;USES;SYSTEM")
  list(TRANSFORM arg_USES PREPEND varnel_)
  add_library(varnel_${name} STATIC ${arg_SOURCES})
  target_include_directories(varnel_${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_compile_options(varnel_${name} PRIVATE ${VARNEL_TRAPS} ${VARNEL_GUARDS} ${VARNEL_SYMBOLS})
  target_link_libraries(varnel_${name} PUBLIC varnel_options ${arg_USES} ${arg_SYSTEM} ${VARNEL_GUARD_LIBRARY})
  # What most sources include is compiled once: these headers take two thirds of a source's compilation. Preset lint does
  # without, so it finds an include that a source has forgotten.
  if(name STREQUAL base)
    target_precompile_headers(varnel_base PRIVATE <windows.h> <oleauto.h> <algorithm> <array> <cwchar> <map> <memory> <optional>
      <string> <string_view> <utility> <vector>)
  else()
    target_precompile_headers(varnel_${name} REUSE_FROM varnel_base)
  endif()
endfunction()
