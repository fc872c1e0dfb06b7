# GTest::gtest_main, and gtest_discover_tests.
include(GoogleTest)
if(CMAKE_CROSSCOMPILING)
  # Of Debian's sources: with the compiler, the C++ library and the flags of everything else.
  add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
else()
  find_package(GTest REQUIRED)
endif()
