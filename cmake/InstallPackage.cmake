# What `cmake --install` puts down beside libraries, headers and programs: the CMake package, found with
# find_package(vexalor-machine-learning), whose targets are Vexalor::machine-learning and Vexalor::quillcast-*, the same
# for pkg-config, manual pages and completions of the programs, and what programs find beside themselves.

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
    DESTINATION ${QC_PACKAGE_DIR} COMPONENT dev)
install(
    EXPORT ${PROJECT_NAME} NAMESPACE Vexalor:: DESTINATION ${QC_PACKAGE_DIR} FILE ${PROJECT_NAME}-targets.cmake
    COMPONENT dev)

get_property(QC_LIBRARIES GLOBAL PROPERTY QC_LIBRARIES)
list(REVERSE QC_LIBRARIES) # users before what they use
list(TRANSFORM QC_LIBRARIES PREPEND -l)
list(JOIN QC_LIBRARIES " " QC_LIBRARIES)
file(RELATIVE_PATH QC_PREFIX_FROM_HERE /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(
    ${CMAKE_CURRENT_LIST_DIR}/${PROJECT_NAME}.pc.in ${PROJECT_BINARY_DIR}/${PROJECT_NAME}.pc @ONLY)
install(
    FILES ${PROJECT_BINARY_DIR}/${PROJECT_NAME}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)

install(
    DIRECTORY ${PROJECT_SOURCE_DIR}/examples/scripts ${PROJECT_SOURCE_DIR}/examples/configurations
    DESTINATION ${QC_SHARED_FOLDER} COMPONENT tools)
# What the pages that are followed make their recordings with.
set(QC_TOOLS ${PROJECT_SOURCE_DIR}/tools)
install(
    PROGRAMS ${QC_TOOLS}/compose_calls.py ${QC_TOOLS}/make_example ${QC_TOOLS}/make_prompts.py ${QC_TOOLS}/make_tone_corpus.py
    DESTINATION ${QC_SHARED_FOLDER}/tools COMPONENT tools)
install(FILES ${QC_TOOLS}/telephone_line.py DESTINATION ${QC_SHARED_FOLDER}/tools COMPONENT tools)

# Of what the programs say of themselves, once they are built.
if(NOT QC_SANITIZE)
    get_property(QC_PROGRAMS GLOBAL PROPERTY QC_PROGRAMS)
    list(SORT QC_PROGRAMS)
    list(TRANSFORM QC_PROGRAMS REPLACE "(.+)" "$<TARGET_FILE:\\1>" OUTPUT_VARIABLE QC_PROGRAM_FILES)
    set(QC_MANUAL ${PROJECT_BINARY_DIR}/manual)
    add_custom_command(
        OUTPUT ${QC_MANUAL}.made
        COMMAND ${QC_PYTHON3} ${PROJECT_SOURCE_DIR}/tools/make_manual ${PROJECT_VERSION} ${QC_MANUAL} ${QC_PROGRAM_FILES}
        COMMAND ${CMAKE_COMMAND} -E touch ${QC_MANUAL}.made
        DEPENDS ${QC_PROGRAMS} ${PROJECT_SOURCE_DIR}/tools/make_manual ${PROJECT_SOURCE_DIR}/tools/program_help.py
        COMMENT "Manual pages and completions")
    add_custom_target(manual ALL DEPENDS ${QC_MANUAL}.made)
    install(DIRECTORY ${QC_MANUAL}/ DESTINATION ${CMAKE_INSTALL_DATADIR} COMPONENT tools)
    include(DebianPackages)
endif()

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
