# A second opinion on src/: clang compiles it for the same target with mingw's headers. Nothing is linked.
set(MINGW_TRIPLE x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=include OUTPUT_VARIABLE gcc_include
  OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/../scripts/clang-version OUTPUT_VARIABLE clang_version
  OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
set(CMAKE_CXX_COMPILER clang++-${clang_version})
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-windows-gnu)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
string(CONCAT CMAKE_CXX_FLAGS_INIT "-nostdinc++ -nostdlibinc -isystem ${gcc_include}/c++"
  " -isystem ${gcc_include}/c++/${MINGW_TRIPLE} -isystem /usr/${MINGW_TRIPLE}/include")
