# Third-party libraries, each behind one target name.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)

pkg_check_modules(CJSON REQUIRED IMPORTED_TARGET libcjson)
add_library(zel_cjson INTERFACE)
target_link_libraries(zel_cjson INTERFACE PkgConfig::CJSON)
