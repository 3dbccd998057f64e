# What 'cmake --install' puts in place, and the Debian package of it that
# scripts/package makes with CPack.
include(GNUInstallDirs)
install(TARGETS strell vorn-detail RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# Manual pages: the version filled in, compressed as Debian keeps them.
set(man_dir ${CMAKE_BINARY_DIR}/man)
set(man_pages)
foreach(page strell vorn-detail)
  configure_file(${PROJECT_SOURCE_DIR}/man/${page}.1.in ${man_dir}/${page}.1 @ONLY)
  add_custom_command(
    OUTPUT ${man_dir}/${page}.1.gz
    COMMAND sh -c "gzip -9nc \"$0\" > \"$1\"" ${man_dir}/${page}.1 ${man_dir}/${page}.1.gz
    DEPENDS ${man_dir}/${page}.1
    VERBATIM
  )
  list(APPEND man_pages ${man_dir}/${page}.1.gz)
endforeach()
add_custom_target(man_pages ALL DEPENDS ${man_pages})
install(FILES ${man_pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME strell)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "Strell developers <dev@strell.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "NetFlow v5 and v9 packet generator for testing flow collectors")
# The summary above is its first line.
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "strell sends NetFlow v5 or v9 export datagrams over UDP to a flow collector:
synthetic flows built from command-line fields, or the replay of Vorn detail
files of the billing system at a chosen pace.
.
vorn-detail dumps and writes detail files, imports the JSON output of nfdump
so that nfcapd archives can be replayed, and compares a detail file with what
a collector stored of its replay.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "nfdump")
set(CPACK_STRIP_FILES ON)
find_program(DPKG dpkg)
if(DPKG)
  execute_process(COMMAND ${DPKG} --print-architecture OUTPUT_VARIABLE arch OUTPUT_STRIP_TRAILING_WHITESPACE)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${arch})
endif()
include(CPack)
