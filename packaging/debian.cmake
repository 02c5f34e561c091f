# The packages `orbel` and `libquarn-dev` (`cpack -G DEB`), with the files that Debian wants in each.
if(BUILD_SHARED_LIBS OR ORBEL_STATIC OR NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  message(FATAL_ERROR "Debian packages need a static library, a dynamically linked program and the prefix /usr: "
    "cmake --preset debian")
endif()
find_program(GZIP gzip REQUIRED)
function(install_compressed source name destination component)
  add_custom_command(OUTPUT ${name}.gz COMMAND ${GZIP} -9nc ${source} > ${name}.gz DEPENDS ${source} VERBATIM)
  add_custom_target(compress-${name}-for-${component} ALL DEPENDS ${name}.gz)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.gz DESTINATION ${destination} COMPONENT ${component})
endfunction()

set(maintainer "the orbel authors <authors@orbel.example>")
string(TIMESTAMP today "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(changelog ${CMAKE_CURRENT_BINARY_DIR}/debian-changelog)
file(WRITE ${changelog} "orbel (${PROJECT_VERSION}-1) unstable; urgency=medium

  * Version ${PROJECT_VERSION}. What is new stands in CHANGELOG.md.

 -- ${maintainer}  ${today}
")
install_compressed(${CMAKE_CURRENT_SOURCE_DIR}/docs/orbel.1 orbel.1 ${CMAKE_INSTALL_MANDIR}/man1 orbel)
install_compressed(${changelog} changelog.Debian ${program_docs} orbel)
install_compressed(${CMAKE_CURRENT_SOURCE_DIR}/CHANGELOG.md changelog ${program_docs} orbel)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian.gz DESTINATION ${library_docs} ${library_component})
install(FILES LICENSE RENAME copyright DESTINATION ${program_docs} ${program_component})
install(FILES LICENSE RENAME copyright DESTINATION ${library_docs} ${library_component})

set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL orbel libquarn-dev)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_CONTACT "${maintainer}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_ORBEL_PACKAGE_NAME orbel)
set(CPACK_DEBIAN_ORBEL_PACKAGE_SECTION math)
set(CPACK_DEBIAN_ORBEL_PACKAGE_SHLIBDEPS ON)
set(CPACK_COMPONENT_ORBEL_DESCRIPTION "calculator for the console with names, vectors and references
It keeps values under names, calculates with numbers and vectors, and has
references: expressions that follow the values they depend on. It runs
scripts and edits lines with a history.")
set(CPACK_DEBIAN_LIBQUARN-DEV_PACKAGE_NAME libquarn-dev)
set(CPACK_DEBIAN_LIBQUARN-DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_LIBQUARN-DEV_PACKAGE_DEPENDS "libstdc++-12-dev | libstdc++-dev")
set(CPACK_COMPONENT_LIBQUARN-DEV_DESCRIPTION "interpreter of the calculator orbel, for C++ programs
A small expression language to embed: symbols, formulas that are parsed
once, functions and types of the program's own, and limits for text that
nobody has read.")
include(CPack)
