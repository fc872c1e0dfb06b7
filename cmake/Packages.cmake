# Debian packages, one for each installed component: `cpack` in a build folder, which should be
# configured with -DCMAKE_INSTALL_PREFIX=/usr.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR "zel")
set(CPACK_PACKAGE_CONTACT "The format converter's developers <format-converter@zel.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL library tools docs)
get_target_property(tinyalsa_kind zel_tinyalsa TYPE)
if(tinyalsa_kind STREQUAL "SHARED_LIBRARY")
  list(APPEND CPACK_COMPONENTS_ALL development)
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

# Libraries of other projects from what the files need; our own are found where they were built.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
if(NOT tinyalsa_kind STREQUAL "SHARED_LIBRARY")
  get_target_property(tinyalsa_file zel_tinyalsa INTERFACE_LINK_LIBRARIES)
  list(GET tinyalsa_file -1 tinyalsa_file)
  cmake_path(GET tinyalsa_file PARENT_PATH tinyalsa_folder)
  list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${tinyalsa_folder})
  set(needs "\n Needs the tinyalsa that it was built over, of no package: ${tinyalsa_folder}.")
endif()
foreach(component library tools development docs)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${ZEL_PACKAGE_${component}})
endforeach()
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DOCS_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_DOCS_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DOCS_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)

include(CPack)
cpack_add_component(library
  DESCRIPTION "The format converter as tinyalsa loads it, with what a host needs besides:\n\
 the simulated sound card, card definitions, log and voice utility.${needs}")
cpack_add_component(tools DEPENDS library
  DESCRIPTION "zel-fc, which records from card 70, and sample coefficient files.")
cpack_add_component(development DEPENDS library
  DESCRIPTION "Headers, pkg-config file and CMake package for programs that open card 70.")
cpack_add_component(docs
  DESCRIPTION "How the format converter works, is brought to a device, tuned and debugged.")
