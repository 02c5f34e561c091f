# What `cmake --install` installs, in two components: the program, and the library for development.
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)
set(program_docs ${CMAKE_INSTALL_DOCDIR})
set(library_docs ${CMAKE_INSTALL_DATAROOTDIR}/doc/libquarn-dev)
set(program_component COMPONENT orbel)
set(library_component COMPONENT libquarn-dev)

install(TARGETS orbel RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} ${program_component})
if(BUILD_SHARED_LIBS AND NOT WIN32) # it finds the library wherever both are installed
  file(RELATIVE_PATH to_library ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(orbel PROPERTIES INSTALL_RPATH $ORIGIN/${to_library})
endif()
install(FILES docs/manual.md DESTINATION ${program_docs} ${program_component})
install(FILES examples/references.orbel examples/tour.orbel
  DESTINATION ${program_docs}/examples ${program_component})

target_include_directories(quarn INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
install(TARGETS quarn EXPORT quarn
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} ${program_component} NAMELINK_COMPONENT libquarn-dev
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} ${library_component})
set(headers ${CMAKE_INSTALL_INCLUDEDIR}/quarn)
install(FILES quarn/c.h quarn/quarn.h quarn/version.h DESTINATION ${headers} ${library_component})
install(DIRECTORY quarn/core quarn/types DESTINATION ${headers} ${library_component}
  FILES_MATCHING PATTERN "*.h" PATTERN elementary EXCLUDE)
# Of the interpreter, those that quarn.h includes.
foreach(header completion engine/text_writer formula language/registry limits/limits state)
  cmake_path(GET header PARENT_PATH folder)
  install(FILES quarn/interpreter/${header}.h DESTINATION ${headers}/interpreter/${folder} ${library_component})
endforeach()
set(package ${CMAKE_INSTALL_LIBDIR}/cmake/quarn)
install(EXPORT quarn NAMESPACE quarn:: FILE quarnConfig.cmake DESTINATION ${package} ${library_component})
write_basic_package_version_file(quarnConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/quarnConfigVersion.cmake DESTINATION ${package} ${library_component})
# The file finds the folders from where it stands itself, as the prefix is known only when it is installed.
set(pkgconfig ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH to_libraries ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH to_headers ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_FULL_INCLUDEDIR})
set(more_libraries "")
foreach(library ${quarn_libraries})
  string(APPEND more_libraries " -l${library}")
endforeach()
# A program in C is linked with the standard library of C++, too.
foreach(library ${CMAKE_CXX_IMPLICIT_LINK_LIBRARIES})
  if(library MATCHES "^(stdc\\+\\+|c\\+\\+|m)$")
    string(APPEND more_libraries " -l${library}")
  endif()
endforeach()
set(quarn_flags "")
if(quarn_type STREQUAL "SHARED_LIBRARY")
  set(quarn_flags " -DQUARN_SHARED")
endif()
configure_file(packaging/quarn.pc.in quarn.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/quarn.pc DESTINATION ${pkgconfig} ${library_component})
install(FILES docs/embedding.md DESTINATION ${library_docs} ${library_component})
install(DIRECTORY examples/c examples/complex examples/python DESTINATION ${library_docs}/examples ${library_component}
  PATTERN __pycache__ EXCLUDE)

if(ORBEL_DEBIAN)
  include(packaging/debian.cmake)
else()
  install(FILES docs/orbel.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 ${program_component})
  install(FILES LICENSE CHANGELOG.md DESTINATION ${program_docs} ${program_component})
  install(FILES LICENSE DESTINATION ${library_docs} ${library_component})
endif()
