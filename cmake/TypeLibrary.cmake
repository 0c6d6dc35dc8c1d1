# varnel_type_library(IDL): generates the contract's declarations, its GUID definitions and the type library.
#   target varnel_contract         INTERFACE: the client headers and the GUIDs (linked from a small static library)
#   target varnel::varnel          what a client links, by the name that it has in the package
#   variable VARNEL_CONTRACT       folder of the generated varnel/varnel_contract.h
#   variable VARNEL_TYPE_LIBRARY   path of the finished .tlb
function(varnel_type_library idl)
  set(dir ${CMAKE_CURRENT_BINARY_DIR}/contract)
  set(header ${dir}/varnel/varnel_contract.h)
  set(guids ${dir}/varnel_contract_i.c)
  set(tlb ${dir}/varnel.tlb)
  file(MAKE_DIRECTORY ${dir}/varnel)
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
    # By a relative path: the header tells what it was made from, and is shipped.
    get_filename_component(idl_folder ${idl} DIRECTORY)
    get_filename_component(idl_name ${idl} NAME)
    add_custom_command(OUTPUT ${header} ${guids} ${tlb}
      COMMAND ${WIDL} -I ${WINE_IDL_DIR} -h -o ${header} ${idl_name}
      COMMAND ${WIDL} -I ${WINE_IDL_DIR} -u -o ${guids} ${idl_name}
      COMMAND Python3::Interpreter ${make_typelib} ${tlb} ${idl_name} ${WIDL} -I ${WINE_IDL_DIR} -L ${WINE_TLB_DIR}
      WORKING_DIRECTORY ${idl_folder}
      DEPENDS ${idl} ${make_typelib} VERBATIM)
  endif()
  set_source_files_properties(${guids} PROPERTIES LANGUAGE CXX)
  add_library(varnel_guids STATIC ${guids} ${header} ${tlb})
  target_include_directories(varnel_guids SYSTEM PUBLIC ${dir})
  target_include_directories(varnel_guids PUBLIC ${PROJECT_SOURCE_DIR}/include)
  add_library(varnel_contract INTERFACE)
  target_link_libraries(varnel_contract INTERFACE varnel_guids)
  add_library(varnel_client INTERFACE)
  target_link_libraries(varnel_client INTERFACE varnel_contract ole32 oleaut32)
  target_compile_features(varnel_client INTERFACE cxx_std_17)
  add_library(varnel::varnel ALIAS varnel_client)
  set(VARNEL_CONTRACT ${dir} PARENT_SCOPE)
  set(VARNEL_TYPE_LIBRARY ${tlb} PARENT_SCOPE)
endfunction()
