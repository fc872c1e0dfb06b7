# Flags that every target of this project shares.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)

# Our libraries find each other where they lie, in the build tree and when installed.
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
set(CMAKE_BUILD_RPATH "$ORIGIN" "$ORIGIN/../lib")
set(CMAKE_INSTALL_RPATH "$ORIGIN" "$ORIGIN/../${ZEL_INSTALL_LIBDIR}")
option(CMAKE_INSTALL_RPATH_USE_LINK_PATH
  "Look for an installed tinyalsa where it was found, too, not only where the loader does" ON)

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Build type" FORCE)
endif()

set(ZEL_SANITIZER "" CACHE STRING "Sanitizers to build with, as -fsanitize takes them")

add_library(zel_build_flags INTERFACE)
# One rounding per operation on every target: no fused multiply-add behind our back.
target_compile_options(zel_build_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Werror -ffp-contract=off
  # With -O3, g++ 12 sees these two in its own strings and vectors.
  "$<$<CXX_COMPILER_ID:GNU>:-Wno-restrict;-Wno-free-nonheap-object>")
target_link_options(zel_build_flags INTERFACE -Wl,-z,defs)
# The library runs inside other people's processes and reads files that it doesn't trust.
target_compile_options(zel_build_flags INTERFACE -fstack-protector-strong)
target_link_options(zel_build_flags INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack)
if(NOT ZEL_SANITIZER AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  target_compile_options(zel_build_flags INTERFACE -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
endif()
if(ZEL_SANITIZER)
  target_compile_options(zel_build_flags INTERFACE
    -fsanitize=${ZEL_SANITIZER} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  # clang leaves its sanitizer runtime to the executable, so a shared library has open symbols then.
  target_link_options(zel_build_flags INTERFACE -fsanitize=${ZEL_SANITIZER}
    $<$<NOT:$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>>:-Wl,-z,undefs>)
endif()

# For the library alone. g++ makes vectors of loops of unknown length with -O3 only; every 32-bit ARM
# device has NEON, but Debian's compiler doesn't assume it.
if(NOT ZEL_SANITIZER AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  set(ZEL_PRODUCT_FLAGS -O3)
endif()
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^armv")
  list(APPEND ZEL_PRODUCT_FLAGS -mfpu=neon)
endif()
