# The interface of the libraries: which versions are compatible, and which headers are installed.

# A program runs with every library of the same series (CONTRIBUTING.md, "Versions").
if(PROJECT_VERSION_MAJOR EQUAL 0)
  set(UFD_SOVERSION 0.${PROJECT_VERSION_MINOR})
  set(UFD_COMPATIBILITY SameMinorVersion)
else()
  set(UFD_SOVERSION ${PROJECT_VERSION_MAJOR})
  set(UFD_COMPATIBILITY SameMajorVersion)
endif()

# Has the shared library offer the symbols of that list alone.
function(ufd_exports library list)
  set(list ${CMAKE_CURRENT_SOURCE_DIR}/${list})
  target_link_options(${library} PRIVATE LINKER:--version-script=${list})
  set_target_properties(${library} PROPERTIES LINK_DEPENDS ${list})
endfunction()

# The headers as they are installed, for programs in this tree that use the libraries like a host.
set(UFD_STAGED_HEADERS ${PROJECT_BINARY_DIR}/include)
file(GLOB_RECURSE ufd_headers RELATIVE ${PROJECT_SOURCE_DIR} CONFIGURE_DEPENDS
     platform/*.h adapters/*.h model/*.h sm/*.h host/*.h)
add_custom_command(
  OUTPUT ${UFD_STAGED_HEADERS}/staged
  COMMAND ${CMAKE_COMMAND} -D SOURCE=${PROJECT_SOURCE_DIR} -D TARGET=${UFD_STAGED_HEADERS}
          -P cmake/StageHeaders.cmake
  COMMAND ${CMAKE_COMMAND} -E touch ${UFD_STAGED_HEADERS}/staged
  WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
  DEPENDS ${ufd_headers} cmake/StageHeaders.cmake cmake/PublicHeaders.txt
  VERBATIM)
add_custom_target(ufd_headers ALL DEPENDS ${UFD_STAGED_HEADERS}/staged)
