# Installation: the two libraries with SONAME and version links, the public headers, the docs,
# a pkg-config file and a CMake package exporting zyn::kernel and zyn::core. Programs, tests and
# test libraries are not installed.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

configure_file(${PROJECT_SOURCE_DIR}/include/zyn/version.h.in
               ${PROJECT_BINARY_DIR}/generated/zyn/version.h @ONLY)

set_target_properties(zyn_kernel PROPERTIES EXPORT_NAME kernel)
set_target_properties(zyn_core PROPERTIES EXPORT_NAME core)
set_target_properties(zyn_kernel zyn_core PROPERTIES
  VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})

install(TARGETS zyn_kernel zyn_core EXPORT zynTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
file(GLOB zyn_public_headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/zyn/*.h
     ${PROJECT_SOURCE_DIR}/include/zyn/*.def)
install(FILES ${zyn_public_headers} ${PROJECT_BINARY_DIR}/generated/zyn/version.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zyn)
file(GLOB zyn_docs CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/*.md)
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${zyn_docs} DESTINATION ${CMAKE_INSTALL_DOCDIR})

# CMake package: relocatable, so `cmake --install build --prefix P` works for any P.
set(zyn_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zyn)
install(EXPORT zynTargets NAMESPACE zyn:: DESTINATION ${zyn_cmake_dir})
file(WRITE ${PROJECT_BINARY_DIR}/zynConfig.cmake
     "include(\"\${CMAKE_CURRENT_LIST_DIR}/zynTargets.cmake\")\n")
# The SONAME carries only the major number, so any release of the same major will do.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zynConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zynConfig.cmake ${PROJECT_BINARY_DIR}/zynConfigVersion.cmake
        DESTINATION ${zyn_cmake_dir})

# pkg-config: paths relative to the .pc file, for the same reason.
file(RELATIVE_PATH zyn_pc_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" zyn_pc_prefix "${zyn_pc_prefix}")
file(RELATIVE_PATH zyn_pc_libdir ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH zyn_pc_includedir ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
configure_file(${PROJECT_SOURCE_DIR}/cmake/zyn.pc.in ${PROJECT_BINARY_DIR}/zyn.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zyn.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
