# Where things go below the prefix. The module and the converter lie together in a folder of their own, in which the
# program looks for what isn't beside itself.
include(GNUInstallDirs)
set(install_companions ${CMAKE_INSTALL_LIBDIR}/dwarf2-symbolic)
set(install_headers ${CMAKE_INSTALL_INCLUDEDIR}/dwarf2-symbolic)
set(install_package ${CMAKE_INSTALL_LIBDIR}/cmake/Dwarf2Symbolic)
set(install_docs ${CMAKE_INSTALL_DATAROOTDIR}/doc/symhost)
file(RELATIVE_PATH companions_from_program /${CMAKE_INSTALL_BINDIR} /${install_companions})
file(RELATIVE_PATH libraries_from_program /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
