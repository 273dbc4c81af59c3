# Compiler settings of all targets of this project.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
# Has programs linked as position-independent, too.
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
# Programs find their libraries relative to themselves, so that a built tree can be moved. Paths that
# differ once installed would be padded with empty entries, and an empty entry lets a program load
# libraries from its working directory.
set(CMAKE_BUILD_WITH_INSTALL_RPATH ON)
set(CMAKE_INSTALL_RPATH "$ORIGIN/../lib" "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
list(REMOVE_DUPLICATES CMAKE_INSTALL_RPATH)

set(UFD_SANITIZE "" CACHE STRING "Sanitizers to build with, as for -fsanitize=")

add_library(ufd_compile INTERFACE)
target_include_directories(ufd_compile INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(ufd_compile INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
  -Wimplicit-fallthrough)
# One mistake in a type's description makes many errors. The first is the one to mend.
target_compile_options(ufd_compile INTERFACE -Wfatal-errors)
# All symbols are resolved at the start (see below), so calls into a library need no stub of its own.
target_compile_options(ufd_compile INTERFACE -fno-plt)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # Nobody replaces functions of a library, so calls within the library may be inlined.
  target_compile_options(ufd_compile INTERFACE -fno-semantic-interposition)
  # At -O3, GCC 12 warns of overlaps in sums of strings, and of reads behind compared vectors, where
  # there are none.
  target_compile_options(ufd_compile INTERFACE
                         -Wno-restrict -Wno-stringop-overflow -Wno-stringop-overread)
endif()
# Releases only: fortification needs optimisation. A packager's choice of it prevails.
set(hardening -fstack-protector-strong -fstack-clash-protection)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64|i.86")
  list(APPEND hardening -fcf-protection)
endif()
if(NOT CMAKE_CXX_FLAGS MATCHES FORTIFY_SOURCE)
  list(APPEND hardening -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
endif()
target_compile_options(ufd_compile INTERFACE "$<$<CONFIG:Release>:${hardening}>")
if(UFD_SANITIZE)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # With the sanitizers' code, GCC 12 warns of uninitialised values in <regex>.
    target_compile_options(ufd_compile INTERFACE -Wno-maybe-uninitialized)
  endif()
  target_compile_options(ufd_compile INTERFACE
    -fsanitize=${UFD_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(ufd_compile INTERFACE -fsanitize=${UFD_SANITIZE})
else()
  # Fails the build of a library that misses a symbol.
  add_link_options(LINKER:-z,defs)
  # Calls within a library need no table then, as nobody replaces its functions.
  add_link_options(LINKER:-Bsymbolic-functions)
  # Resolves all symbols when a library is loaded: none is looked up while ports wait.
  add_link_options(LINKER:-z,now)
endif()
