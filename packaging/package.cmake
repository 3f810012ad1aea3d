# Manual pages, completions, documents and examples are installed with the programs; `cpack`, run in
# the build directory, makes a Debian package of it all: tavindex_VERSION_ARCHITECTURE.deb.

# Where zsh looks depends on who installs: Debian's packages have a place of their own.
set(TAVINDEX_ZSH_DIR "${CMAKE_INSTALL_DATADIR}/zsh/site-functions" CACHE STRING
    "Directory of zsh completions, below the prefix")
set(TAVINDEX_MAINTAINER "The tavindex authors <authors@tavindex.invalid>" CACHE STRING
    "Whom the package names as its maintainer; whoever distributes it puts a name here")

install(FILES man/tavindex.1 man/isitool.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES man/isi.5 DESTINATION ${CMAKE_INSTALL_MANDIR}/man5)
install(FILES completions/bash/tavindex completions/bash/isitool
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(FILES completions/zsh/_tavindex completions/zsh/_isitool DESTINATION ${TAVINDEX_ZSH_DIR})
install(FILES completions/fish/tavindex.fish completions/fish/isitool.fish
        DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
install(FILES CHANGELOG.md SECURITY.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES docs/operations.md docs/testing.md docs/architecture.svg
        DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs)
install(PROGRAMS examples/make-shop examples/nightly DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tavindex)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "${TAVINDEX_MAINTAINER}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/debian-files.cmake)
set(CPACK_TAVINDEX_SOURCE ${PROJECT_SOURCE_DIR})  # for that script
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS python3)  # examples/make-shop
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "builder and maintainer of ISI index files")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"tavindex builds the tree index (ISI file) of a flat data file of text or
binary records, in a bounded amount of memory, rebuilds it from the command
line that its header keeps, and compacts it from its own contents under the
lock protocol of the data file.

isitool shows, proves, searches and draws such indexes.")
include(CPack)
