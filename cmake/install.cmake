# What 'cmake --install' puts in place, and the Debian packages of it that
# scripts/package makes with CPack: strell (the programs and their manual
# pages), libvorn<SOVERSION> (the shared libraries) and libvorn-dev.

# Libraries go where Debian's multiarch layout puts them, under any prefix:
# the dynamic linker of a Debian system searches /usr/local/lib/<triplet> too.
if(CMAKE_LIBRARY_ARCHITECTURE AND NOT DEFINED CACHE{CMAKE_INSTALL_LIBDIR})
  set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE} CACHE PATH "Object code libraries (LIBDIR)")
endif()
include(GNUInstallDirs)
install(TARGETS strell vorn-detail RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT programs)
include(${CMAKE_CURRENT_LIST_DIR}/vorn_library.cmake)

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
install(FILES ${man_pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT programs)

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL programs runtime development)
set(CPACK_PACKAGE_NAME strell)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "Strell developers <dev@strell.invalid>")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_STRIP_FILES ON)
# Each description's first line is the package's summary.
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_NAME strell)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SUGGESTS "nfdump")
set(CPACK_DEBIAN_PROGRAMS_DESCRIPTION "NetFlow v5 and v9 packet generator for testing flow collectors
strell sends NetFlow v5 or v9 export datagrams over UDP to a flow collector:
synthetic flows built from command-line fields, or the replay of Vorn detail
files of the billing system at a chosen pace.
.
vorn-detail dumps and writes detail files, imports nfcapd archives (their
files, or the JSON output of nfdump) so that they can be replayed, and
compares a detail file with what a collector stored of its replay.")

# Debian names a library package after its SONAME; the five libraries share one.
set(vorn_runtime_package libvorn${PROJECT_VERSION_MAJOR})
set(vorn_library_text "The library layer of the Vorn billing system: IP addresses and sockets
(net), an asynchronous logger with file and syslog outputs (log),
key = value configuration and pid files (config), traffic records and the
detail files of the billing core (stat), threads, time and text utilities
(util).")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${vorn_runtime_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
# The shlibs file of the library package; the other two hold no library.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "Vorn billing system libraries
${vorn_library_text}
.
This package holds the shared libraries.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvorn-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${vorn_runtime_package} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "Vorn billing system libraries (development files)
${vorn_library_text}
.
This package holds the headers, the CMake package (find_package(Vorn)) and
the pkg-config module (vorn).")

find_program(DPKG dpkg)
if(DPKG)
  execute_process(COMMAND ${DPKG} --print-architecture OUTPUT_VARIABLE arch OUTPUT_STRIP_TRAILING_WHITESPACE)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${arch})
endif()
include(CPack)
