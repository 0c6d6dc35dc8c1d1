# What a package holds. `cmake --install BUILD --prefix FOLDER` lays it out; scripts/package makes the files of it that are
# shipped.
include(CMakePackageConfigHelpers)
find_package(Python3 REQUIRED COMPONENTS Interpreter)

set(VARNEL_ARCHITECTURE x86)
if(CMAKE_SIZEOF_VOID_P EQUAL 8)
  set(VARNEL_ARCHITECTURE amd64)
endif()

# varnel_generated(FILE GENERATOR ARGUMENT...): a file that tools/GENERATOR.py makes from the contract.
function(varnel_generated file generator)
  set(generator ${PROJECT_SOURCE_DIR}/tools/${generator}.py)
  add_custom_command(OUTPUT ${file}
    COMMAND Python3::Interpreter ${generator} ${ARGN} ${file}
    DEPENDS ${generator} ${PROJECT_SOURCE_DIR}/tools/contract.py ${PROJECT_SOURCE_DIR}/include/varnel/varnel.h
      ${VARNEL_CONTRACT_SOURCES} VERBATIM)
endfunction()
file(GLOB VARNEL_CONTRACT_SOURCES CONFIGURE_DEPENDS src/com/resources/* src/com/varnel.idl src/com/class_table.cpp)

set(kit ${PROJECT_BINARY_DIR}/kit)
file(MAKE_DIRECTORY ${kit})
set(VARNEL_MANIFEST ${kit}/varnel.sxs.manifest)
set(VARNEL_INTEROP ${kit}/Varnel.cs)
varnel_generated(${VARNEL_MANIFEST} make_manifest ${VARNEL_ARCHITECTURE})
varnel_generated(${VARNEL_INTEROP} make_interop)
add_custom_target(varnel_kit ALL DEPENDS ${VARNEL_MANIFEST} ${VARNEL_INTEROP})

configure_package_config_file(cmake/varnel-config.cmake.in ${kit}/varnel-config.cmake INSTALL_DESTINATION lib/cmake/varnel
  NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
# Refuses a build of the other width, too.
write_basic_package_version_file(${kit}/varnel-config-version.cmake COMPATIBILITY SameMajorVersion)

install(TARGETS varnel RUNTIME DESTINATION bin)
install(FILES ${VARNEL_MANIFEST} DESTINATION bin)
# Named one by one: what else lies in these folders is nobody's to ship.
foreach(header catalogue.hpp self_protection_client.h system.h testing.hpp varnel.h varnel.hpp)
  install(FILES include/varnel/${header} DESTINATION include/varnel)
endforeach()
foreach(header catalogue_event catalogue_values element error event_time library report result text)
  install(FILES include/varnel/cpp/${header}.hpp DESTINATION include/varnel/cpp)
endforeach()
foreach(header agent_settings captured_library faults files import_table library_copy private_folder xml_element)
  install(FILES include/varnel/testing/${header}.hpp DESTINATION include/varnel/testing)
endforeach()
install(FILES ${VARNEL_CONTRACT}/varnel/varnel_contract.h DESTINATION include/varnel)
install(FILES ${kit}/varnel-config.cmake ${kit}/varnel-config-version.cmake DESTINATION lib/cmake/varnel)
install(FILES ${VARNEL_TYPE_LIBRARY} DESTINATION lib)
install(FILES ${VARNEL_INTEROP} DESTINATION interop)
foreach(name com contract element error library report text time)
  install(FILES interop/go/${name}_windows.go DESTINATION interop/go)
  install(FILES interop/rust/src/${name}.rs DESTINATION interop/rust/src)
endforeach()
install(FILES interop/testing/VarnelAgent.cs interop/testing/varnel_agent.cpp interop/testing/varnel_agent.h
  DESTINATION interop/testing)
install(FILES interop/go/doc.go interop/go/go.mod DESTINATION interop/go)
install(FILES interop/rust/Cargo.toml DESTINATION interop/rust)
install(FILES interop/rust/src/lib.rs DESTINATION interop/rust/src)
foreach(name CMakeLists.txt go.mod report_catalogue.cpp report_event.c report_event.cpp report_event.cs report_event.go report_event.rs
    report_event.vbs scanner_reports.hpp scanner_reports_test.cpp)
  install(FILES samples/${name} DESTINATION samples)
endforeach()
foreach(name antivirus device_control firewall scanner)
  install(FILES samples/catalogues/${name}.toml DESTINATION samples/catalogues)
endforeach()
install(FILES samples/catalogues/generated/scanner_events.hpp DESTINATION samples/catalogues/generated)
install(FILES schema/catalogue.schema.json schema/event-document.rng DESTINATION schema)
install(FILES CHANGELOG.md DESTINATION .)
install(FILES docs/README.txt DESTINATION .)
foreach(page quickstart packages integration languages testing event-format catalogue settings tool sharing troubleshooting pipeline fleet)
  install(FILES docs/${page}.md DESTINATION docs)
endforeach()
install(PROGRAMS docs/pipeline/ship DESTINATION docs/pipeline)
install(FILES docs/pipeline/ship.ps1 DESTINATION docs/pipeline)
if(VARNEL_BUILD_SAMPLES)
  install(TARGETS report_event report_event_c RUNTIME DESTINATION bin)
endif()
if(VARNEL_BUILD_TOOL AND VARNEL_ARCHITECTURE STREQUAL amd64)
  install(TARGETS varnel_tool RUNTIME DESTINATION bin)
endif()
