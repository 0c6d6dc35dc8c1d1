# varnel_shipped(TARGET DESCRIPTION [NO_SYMBOLS]): what a program or DLL needs that leaves the house: a version resource, a
# build identifier, a link map beside it, from which tools/linked_components.py reads what is inside, and its symbols in
# TARGET.debug, which bear the same build identifier.
set(VARNEL_COMPANY "varnel" CACHE STRING "CompanyName of the DLL and the programs, and the manufacturer in the MSI")
set(VARNEL_COPYRIGHT "Copyright (c) ${VARNEL_COMPANY}" CACHE STRING "LegalCopyright of the DLL and the programs")

set(VARNEL_CONTACT "the vendor of your product" CACHE STRING "Whom the MSI names as the contact for support")
set(VARNEL_URL "https://varnel.example/" CACHE STRING "Page that the MSI names for help")

function(varnel_shipped target description)
  cmake_parse_arguments(PARSE_ARGV 2 arg "NO_SYMBOLS" "" "")
  if(WIN32)
    get_target_property(type ${target} TYPE)
    set(file_type VFT_APP)
    set(file_suffix .exe)
    if(NOT type STREQUAL EXECUTABLE)
      set(file_type VFT_DLL)
      set(file_suffix .dll)
    endif()
    get_target_property(file_name ${target} OUTPUT_NAME)
    if(NOT file_name)
      set(file_name ${target})
    endif()
    set(file_description ${description})
    configure_file(${CMAKE_CURRENT_FUNCTION_LIST_DIR}/version.rc.in ${CMAKE_CURRENT_BINARY_DIR}/${target}_version.rc @ONLY)
    target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${target}_version.rc)
  endif()
  if(MSVC)
    return()
  endif()
  target_link_options(${target} PRIVATE LINKER:--build-id,-Map=$<TARGET_FILE:${target}>.map)
  if((arg_NO_SYMBOLS OR NOT VARNEL_SYMBOLS) AND NOT VARNEL_CHECKED)
    target_link_options(${target} PRIVATE -s)
  elseif(VARNEL_SYMBOLS)
    # The time that both tools would write into the file is taken from there: the same sources give the same bytes.
    set(timeless ${CMAKE_COMMAND} -E env SOURCE_DATE_EPOCH=0)
    add_custom_command(TARGET ${target} POST_BUILD
      COMMAND ${timeless} ${CMAKE_OBJCOPY} --only-keep-debug $<TARGET_FILE:${target}> $<TARGET_FILE:${target}>.debug
      COMMAND ${timeless} ${CMAKE_STRIP} $<TARGET_FILE:${target}> VERBATIM)
  endif()
endfunction()
