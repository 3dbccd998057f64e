# The Vorn library as other programs use it: one shared library per component
# with a versioned SONAME, the headers under include/vorn/<component>/, a CMake
# package (find_package(Vorn) gives Vorn::<component>) and a pkg-config module
# (vorn). Each shared library is linked from the objects of the component's
# static library, compiled once as position-independent code; strell,
# vorn-detail and the tests link the static ones (lib/README.md says why).

set(vorn_components util log net stat config)  # each after those it uses
list(JOIN vorn_components "|" vorn_alternatives)
set(vorn_shared_targets)
foreach(component IN LISTS vorn_components)
  set(static vorn_${component})
  set(shared vorn_${component}_shared)
  set_target_properties(${static} PROPERTIES POSITION_INDEPENDENT_CODE ON)
  # Nothing in the library is meant to be interposed: calls between its own
  # functions may be inlined in the shared library as in the static one.
  target_compile_options(${static} PRIVATE -fno-semantic-interposition)

  add_library(${shared} SHARED $<TARGET_OBJECTS:${static}>)
  set_target_properties(${shared} PROPERTIES
    OUTPUT_NAME vorn_${component}
    EXPORT_NAME ${component}
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib
    # The components find each other wherever the tree is put.
    INSTALL_RPATH "$ORIGIN"
  )
  target_include_directories(${shared} INTERFACE
    $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_compile_features(${shared} INTERFACE cxx_std_17)

  # The static library's dependencies, its Vorn ones taken shared; those it
  # links privately (header-only nlohmann JSON, say) stay out of the package.
  get_target_property(public ${static} INTERFACE_LINK_LIBRARIES)
  get_target_property(private ${static} LINK_LIBRARIES)
  foreach(list public private)
    if(NOT ${list})
      set(${list} "")
    endif()
  endforeach()
  list(FILTER public EXCLUDE REGEX "^\\$<LINK_ONLY:")
  if(public)
    list(REMOVE_ITEM private ${public})
  endif()
  list(TRANSFORM public REPLACE "^vorn_(${vorn_alternatives})$" "vorn_\\1_shared")
  list(TRANSFORM private REPLACE "^vorn_(${vorn_alternatives})$" "vorn_\\1_shared")
  target_link_libraries(${shared} PUBLIC ${public} PRIVATE ${private})
  list(APPEND vorn_shared_targets ${shared})
endforeach()
add_custom_target(vorn_libraries)
add_dependencies(vorn_libraries ${vorn_shared_targets})

install(TARGETS ${vorn_shared_targets} EXPORT VornTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
# Every header of lib/, whatever is added there later.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/lib/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vorn
  COMPONENT development FILES_MATCHING PATTERN "*.h")

set(vorn_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Vorn)
install(EXPORT VornTargets NAMESPACE Vorn:: DESTINATION ${vorn_cmake_dir} COMPONENT development)
include(CMakePackageConfigHelpers)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/VornConfig.cmake.in
  ${PROJECT_BINARY_DIR}/VornConfig.cmake INSTALL_DESTINATION ${vorn_cmake_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VornConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VornConfig.cmake ${PROJECT_BINARY_DIR}/VornConfigVersion.cmake
  DESTINATION ${vorn_cmake_dir} COMPONENT development)

# pkg-config: the prefix is found from the .pc file's own place.
file(RELATIVE_PATH vorn_pc_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" vorn_pc_prefix ${vorn_pc_prefix})
set(vorn_pc_libs)
foreach(component IN LISTS vorn_components)
  list(PREPEND vorn_pc_libs -lvorn_${component})
endforeach()
list(JOIN vorn_pc_libs " " vorn_pc_libs)
configure_file(${PROJECT_SOURCE_DIR}/cmake/vorn.pc.in ${PROJECT_BINARY_DIR}/vorn.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vorn.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
