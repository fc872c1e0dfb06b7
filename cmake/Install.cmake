# Where files are installed. The libraries lie in a folder of their own: several bear the names of
# a device's (liblog.so, libtinyalsa.so.2), and the card definitions look for plugins beside them.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
set(ZEL_PACKAGE_library zel-format-converter)
set(ZEL_PACKAGE_tools zel-format-converter-tools)
set(ZEL_PACKAGE_development zel-format-converter-dev)
set(ZEL_PACKAGE_docs zel-format-converter-doc)
set(ZEL_INSTALL_LIBDIR ${CMAKE_INSTALL_LIBDIR}/zel_format_converter)
set(ZEL_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/zel_format_converter)

# For host programs that open card 70 through our own tinyalsa: a pkg-config file and a CMake
# package, both free of absolute paths. Over an installed tinyalsa they are built with that alone.
function(zel_install_development_files)
  set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  file(RELATIVE_PATH ZEL_PC_TO_PREFIX /${pkgconfig_dir} /)
  string(REGEX REPLACE "/$" "" ZEL_PC_TO_PREFIX ${ZEL_PC_TO_PREFIX})
  configure_file(${PROJECT_SOURCE_DIR}/cmake/zel-format-converter.pc.in
    ${PROJECT_BINARY_DIR}/zel-format-converter.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/zel-format-converter.pc DESTINATION ${pkgconfig_dir}
    COMPONENT development)

  set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zel_format_converter)
  write_basic_package_version_file(
    ${PROJECT_BINARY_DIR}/zel_format_converter-config-version.cmake COMPATIBILITY SameMajorVersion)
  install(FILES ${PROJECT_BINARY_DIR}/zel_format_converter-config-version.cmake
    DESTINATION ${package_dir} COMPONENT development)
  install(EXPORT zel_format_converter NAMESPACE zel_format_converter::
    FILE zel_format_converter-config.cmake DESTINATION ${package_dir} COMPONENT development)
endfunction()

# Each package is to have the licence.
foreach(component library tools development docs)
  install(FILES LICENSE RENAME copyright COMPONENT ${component}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${ZEL_PACKAGE_${component}})
endforeach()
# zel-fc has these compiled in, whose licences want to go along; where Debian puts them.
foreach(package libcli11-dev libfmt-dev nlohmann-json3-dev rapidjson-dev)
  install(FILES ${CMAKE_SYSROOT}/usr/share/doc/${package}/copyright RENAME copyright.${package}
    OPTIONAL COMPONENT tools DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${ZEL_PACKAGE_tools})
endforeach()
set(docdir ${CMAKE_INSTALL_DATADIR}/doc/zel-format-converter)
install(FILES README.md SECURITY.md LICENSE DESTINATION ${docdir} COMPONENT docs)
install(DIRECTORY docs android config DESTINATION ${docdir} COMPONENT docs)
install(FILES Android.bp DESTINATION ${docdir} COMPONENT docs)
install(FILES platform/loopback_card/README.md
  DESTINATION ${docdir}/platform/loopback_card COMPONENT docs)
