# How every target of this project is compiled.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
# A tree that is built can be moved: its programs find their libraries relative to themselves.
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)

set(UFD_SANITIZE "" CACHE STRING "Sanitizers to build with, as for -fsanitize=")

add_library(ufd_compile INTERFACE)
target_include_directories(ufd_compile INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(ufd_compile INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
  -Wimplicit-fallthrough)
# One mistake in a type's description makes many errors, of which the first is the one to mend.
target_compile_options(ufd_compile INTERFACE -Wfatal-errors)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # Nobody puts functions of their own in the place of a library's: its own calls may be inlined.
  target_compile_options(ufd_compile INTERFACE -fno-semantic-interposition)
  # GCC 12 sees overlaps in sums of strings where there are none, at -O3.
  target_compile_options(ufd_compile INTERFACE -Wno-restrict -Wno-stringop-overflow)
  # It takes an object that unlinks itself at the end of its scope for one that is left linked.
  target_compile_options(ufd_compile INTERFACE -Wno-dangling-pointer)
endif()
if(UFD_SANITIZE)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # What the sanitizers insert makes GCC 12 see uninitialised values in <regex>.
    target_compile_options(ufd_compile INTERFACE -Wno-maybe-uninitialized)
  endif()
  target_compile_options(ufd_compile INTERFACE
    -fsanitize=${UFD_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(ufd_compile INTERFACE -fsanitize=${UFD_SANITIZE})
else()
  # A library that misses a symbol is found out when it is built.
  add_link_options(LINKER:-z,defs)
  # Bound when it is loaded, and read-only from then on: nothing is looked up while ports wait.
  add_link_options(LINKER:-z,now)
endif()
