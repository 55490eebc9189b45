# What `cmake --install` puts down beside libraries, headers and programs: the CMake package, found with
# find_package(vexalor-machine-learning), whose targets are Vexalor::machine-learning and Vexalor::quillcast-*; and
# the Debian package that `cpack -G DEB` makes of the same files.

include(CMakePackageConfigHelpers)

set(QC_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/${PROJECT_NAME})
configure_package_config_file(
    ${CMAKE_CURRENT_LIST_DIR}/PackageConfig.cmake.in ${PROJECT_BINARY_DIR}/${PROJECT_NAME}-config.cmake
    INSTALL_DESTINATION ${QC_PACKAGE_DIR})
# Before 1.0 every minor version may break its users.
write_basic_package_version_file(
    ${PROJECT_BINARY_DIR}/${PROJECT_NAME}-config-version.cmake COMPATIBILITY SameMinorVersion)
install(
    FILES ${PROJECT_BINARY_DIR}/${PROJECT_NAME}-config.cmake
          ${PROJECT_BINARY_DIR}/${PROJECT_NAME}-config-version.cmake
    DESTINATION ${QC_PACKAGE_DIR})
install(EXPORT ${PROJECT_NAME} NAMESPACE Vexalor:: DESTINATION ${QC_PACKAGE_DIR} FILE ${PROJECT_NAME}-targets.cmake)

set(CPACK_PACKAGE_NAME ${PROJECT_NAME})
set(CPACK_PACKAGE_VENDOR "Vexalor")
set(CPACK_PACKAGE_CONTACT "Vexalor maintainers <maintainers@vexalor.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Pattern streams, error measures and a tester for audio classifiers")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_GENERATOR DEB)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Our own libraries depend on each other: let dpkg-shlibdeps find them where they were built.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
# The headers need these.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libboost-serialization-dev, libboost-program-options-dev")
include(CPack)

# Installs to a temporary prefix, then builds and runs a project of its own against what was installed.
if(NOT QC_SANITIZE)
    add_test(
        NAME Install.AnotherProjectBuildsAgainstThePackage
        COMMAND ${CMAKE_COMMAND}
            -D BUILD_DIR=${PROJECT_BINARY_DIR} -D CONSUMER_DIR=${PROJECT_SOURCE_DIR}/examples/consumer
            -D WORK_DIR=${PROJECT_BINARY_DIR}/install-test -D GENERATOR=${CMAKE_GENERATOR}
            -P ${CMAKE_CURRENT_LIST_DIR}/InstallTest.cmake)
    set_tests_properties(Install.AnotherProjectBuildsAgainstThePackage PROPERTIES LABELS install TIMEOUT 300)
endif()
