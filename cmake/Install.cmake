# cmake --install, and the Debian package of the same files.
set_target_properties(symhost PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries_from_program}")
set_target_properties(dwarf2_module PROPERTIES INSTALL_RPATH "$ORIGIN/..")
set_target_properties(dbgengine PROPERTIES INSTALL_RPATH "$ORIGIN")
set_target_properties(dbgengine vfk PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})

install(TARGETS symhost RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS symconvert RUNTIME DESTINATION ${install_companions})
install(TARGETS dwarf2_module LIBRARY DESTINATION ${install_companions})

# For those who embed the module.
install(TARGETS interfaces dbgengine vfk EXPORT Dwarf2Symbolic LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(EXPORT Dwarf2Symbolic NAMESPACE Dwarf2Symbolic:: FILE Dwarf2SymbolicTargets.cmake
  DESTINATION ${install_package})
install(DIRECTORY plugins/Symbolic/Dwarf2/interfaces DESTINATION ${install_headers} FILES_MATCHING PATTERN *.h)
include(CMakePackageConfigHelpers)
set(package_files ${CMAKE_BINARY_DIR}/package)
configure_package_config_file(cmake/Dwarf2SymbolicConfig.cmake.in ${package_files}/Dwarf2SymbolicConfig.cmake
  INSTALL_DESTINATION ${install_package} PATH_VARS install_companions)
write_basic_package_version_file(${package_files}/Dwarf2SymbolicConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${package_files}/Dwarf2SymbolicConfig.cmake ${package_files}/Dwarf2SymbolicConfigVersion.cmake
  DESTINATION ${install_package})
install(DIRECTORY examples DESTINATION ${install_docs})

# For those who use the program.
install(FILES docs/symhost.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES README.md DESTINATION ${install_docs})
install(DIRECTORY docs/ DESTINATION ${install_docs}/docs FILES_MATCHING PATTERN *.md
  PATTERN style.md EXCLUDE PATTERN layout.md EXCLUDE)
set(completions ${CMAKE_BINARY_DIR}/completions)
install(FILES ${completions}/symhost DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions)
install(FILES ${completions}/symhost.fish DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/fish/vendor_completions.d)
install(FILES ${completions}/_symhost DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/zsh/site-functions)
if(EXISTS /etc/debian_version) # whose zsh looks here for those of packages
  install(FILES ${completions}/_symhost DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/zsh/vendor-completions)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME symhost)
set(CPACK_PACKAGE_CONTACT "symhost maintainers <maintainers@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Symbols of 32-bit ARM ELF files: symbolic plug-in and host program")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS less)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS libboost-dev) # for the headers
include(CPack)
