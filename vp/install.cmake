# The library goes alone: cmake --install BUILD --component qorvp --prefix FOLDER
# What is installed names no folder but those beside it, so that it can be moved.
include(CMakePackageConfigHelpers)

# Highway's few objects, under a name that no Highway of the system has.
set_target_properties(hwy PROPERTIES OUTPUT_NAME qorvp_hwy)
# The public headers say no more; our own code is of the project's level.
target_compile_features(qorvp INTERFACE cxx_std_17)

# Line tables name the sources without the folder where they were built.
foreach(target qorvp hwy)
  target_compile_options(${target} PRIVATE -ffile-prefix-map=${CMAKE_SOURCE_DIR}/=)
endforeach()

set(package ${CMAKE_CURRENT_BINARY_DIR}/package)
configure_package_config_file(qorvpConfig.cmake.in ${package}/qorvpConfig.cmake INSTALL_DESTINATION lib/cmake/qorvp)
# Below 1.0 the second number tells of changes that users see.
write_basic_package_version_file(${package}/qorvpConfigVersion.cmake COMPATIBILITY SameMinorVersion)
configure_file(qorvp.pc.in ${package}/qorvp.pc @ONLY)

install(TARGETS qorvp hwy EXPORT qorvpTargets COMPONENT qorvp ARCHIVE DESTINATION lib)
install(DIRECTORY include/qorvp COMPONENT qorvp DESTINATION include)
install(EXPORT qorvpTargets COMPONENT qorvp NAMESPACE qorvp:: DESTINATION lib/cmake/qorvp)
install(FILES ${package}/qorvpConfig.cmake ${package}/qorvpConfigVersion.cmake
        COMPONENT qorvp DESTINATION lib/cmake/qorvp)
install(FILES ${package}/qorvp.pc COMPONENT qorvp DESTINATION lib/pkgconfig)
install(FILES ${ZELHOST_DEPS_DIR}/highway/LICENSE COMPONENT qorvp DESTINATION share/doc/qorvp RENAME highway-LICENSE)
