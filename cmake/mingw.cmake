# Shared by both widths; the including file sets MINGW_TRIPLE.
# The compiler is named with its thread model. With "posix" the runtime puts an exception handler into the process that it
# is loaded into, before all others, so the product is built with "win32"; GoogleTest needs "posix".
if(NOT MINGW_THREADS)
  set(MINGW_THREADS win32)
endif()
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES MINGW_THREADS)
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_C_COMPILER ${MINGW_TRIPLE}-gcc-${MINGW_THREADS}) # for GoogleTest
set(CMAKE_CXX_COMPILER ${MINGW_TRIPLE}-g++-${MINGW_THREADS})
set(CMAKE_RC_COMPILER ${MINGW_TRIPLE}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/wine-run)
