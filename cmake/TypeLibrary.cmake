# varnel_type_library(IDL): generates the contract's header, its GUID definitions and the type library.
#   target varnel_contract         INTERFACE: the header and the GUIDs (linked from a small static library)
#   variable VARNEL_TYPE_LIBRARY   path of the finished .tlb
function(varnel_type_library idl)
  set(dir ${CMAKE_CURRENT_BINARY_DIR}/contract)
  set(header ${dir}/varnel_contract.h)
  set(guids ${dir}/varnel_contract_i.c)
  set(tlb ${dir}/varnel.tlb)
  file(MAKE_DIRECTORY ${dir})
  if(MSVC)
    if(CMAKE_SIZEOF_VOID_P EQUAL 8)
      set(environment x64)
    else()
      set(environment win32)
    endif()
    # On no path outside the developer prompt; it starts the compiler as its preprocessor.
    find_program(MIDL NAMES midl REQUIRED HINTS
      "$ENV{WindowsSdkVerBinPath}/x64"
      "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows Kits\\Installed Roots;KitsRoot10]/bin/${CMAKE_VS_WINDOWS_TARGET_PLATFORM_VERSION}/x64")
    add_custom_command(OUTPUT ${header} ${guids} ${tlb}
      COMMAND ${MIDL} /nologo /cpp_cmd ${CMAKE_CXX_COMPILER} /env ${environment} /h ${header} /iid ${guids} /tlb ${tlb} /proxy nul /dlldata nul ${idl}
      DEPENDS ${idl} VERBATIM)
  else()
    find_program(WIDL NAMES ${MINGW_TRIPLE}-widl REQUIRED)
    find_package(Python3 REQUIRED COMPONENTS Interpreter)
    find_path(WINE_IDL_DIR oaidl.idl PATHS /usr/include/wine/wine/windows REQUIRED NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
    find_path(WINE_TLB_DIR stdole2.tlb PATHS /usr/lib/x86_64-linux-gnu/wine/x86_64-windows
      REQUIRED NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
    set(make_typelib ${PROJECT_SOURCE_DIR}/tools/make_typelib.py)
    add_custom_command(OUTPUT ${header} ${guids} ${tlb}
      COMMAND ${WIDL} -I ${WINE_IDL_DIR} -h -o ${header} ${idl}
      COMMAND ${WIDL} -I ${WINE_IDL_DIR} -u -o ${guids} ${idl}
      COMMAND Python3::Interpreter ${make_typelib} ${tlb} ${idl} ${WIDL} -I ${WINE_IDL_DIR} -L ${WINE_TLB_DIR}
      DEPENDS ${idl} ${make_typelib} VERBATIM)
  endif()
  set_source_files_properties(${guids} PROPERTIES LANGUAGE CXX)
  add_library(varnel_guids STATIC ${guids} ${header} ${tlb})
  target_include_directories(varnel_guids SYSTEM PUBLIC ${dir})
  add_library(varnel_contract INTERFACE)
  target_link_libraries(varnel_contract INTERFACE varnel_guids)
  set(VARNEL_TYPE_LIBRARY ${tlb} PARENT_SCOPE)
endfunction()
