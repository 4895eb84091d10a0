# Installation: the two libraries with their SONAMEs, every public header (the
# generated entry header and the core library's headers included) under
# include/qor, a pkg-config file and a CMake package with the imported targets
# qor::kernel and qor::core; CPack makes a Debian package of the same tree.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(QOR_VERSION 1.0.0)
set(QOR_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/qor)

# Clients see the headers of include/qor both as <qor/x.h> and as "x.h".
foreach(t qor_core qor_kernel_ssse3)
  target_include_directories(${t} INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>
                                            $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/qor>)
endforeach()
set_target_properties(qor_core PROPERTIES EXPORT_NAME core VERSION 2.0.0)
set_target_properties(qor_kernel_ssse3 PROPERTIES EXPORT_NAME kernel)
# A client of the kernel library links the core library as well.
target_link_libraries(qor_kernel_ssse3 INTERFACE qor_core)

install(TARGETS qor_core qor_kernel_ssse3 EXPORT qorTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev)
file(GLOB QOR_PUBLIC_HEADERS ${CMAKE_SOURCE_DIR}/include/qor/*.h ${CMAKE_SOURCE_DIR}/core/qor_core*.h)
install(FILES ${QOR_PUBLIC_HEADERS} ${QOR_GEN}/qor/qor_bex_entries.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qor COMPONENT dev)

install(EXPORT qorTargets NAMESPACE qor:: DESTINATION ${QOR_CMAKE_DIR} COMPONENT dev)
configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/qorConfig.cmake.in
    ${CMAKE_BINARY_DIR}/qorConfig.cmake INSTALL_DESTINATION ${QOR_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/qorConfigVersion.cmake
    VERSION ${QOR_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/qorConfig.cmake ${CMAKE_BINARY_DIR}/qorConfigVersion.cmake
        DESTINATION ${QOR_CMAKE_DIR} COMPONENT dev)

# pkg-config: the prefix is found from the file's own place, so the tree can be
# installed under any prefix.
file(RELATIVE_PATH QOR_PC_TO_PREFIX /root/${CMAKE_INSTALL_LIBDIR}/pkgconfig /root)
configure_file(${CMAKE_SOURCE_DIR}/cmake/qor.pc.in ${CMAKE_BINARY_DIR}/qor.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/qor.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME qor)
set(CPACK_PACKAGE_VERSION ${QOR_VERSION})
set(CPACK_PACKAGE_VENDOR "qor developers")
set(CPACK_PACKAGE_CONTACT "qor developers <qor@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "Numeric kernels: vector math in three accuracy tiers, random streams, statistics, splines")
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libopenblas0 | libblas3, liblapack3")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
include(CPack)
