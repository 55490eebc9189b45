# The four kinds of target. A build file is a list of sources and dependencies, nothing else.

include(GoogleTest)

# qc_library(NAME SOURCES file... HEADERS file... [PUBLIC target...] [PRIVATE target...])
#   A shared library whose headers are included as "folder/Header.h", or as "Header.h" where the folder is named src.
#   Shared only: classes register their keys in static initialisers, which a static archive would lose. Default
#   visibility, so that a plug-in shares the class registry with its host.
function(qc_library NAME)
    cmake_parse_arguments(ARG "" "" "SOURCES;HEADERS;PUBLIC;PRIVATE" ${ARGN})
    add_library(${NAME} SHARED ${ARG_SOURCES} ${ARG_HEADERS})
    target_link_libraries(${NAME} PUBLIC ${ARG_PUBLIC} PRIVATE ${ARG_PRIVATE})
    target_compile_features(${NAME} PUBLIC cxx_std_20)
    qc_precompiled(${NAME} products)
    get_filename_component(FOLDER ${CMAKE_CURRENT_SOURCE_DIR} NAME)
    if(FOLDER STREQUAL "src")
        set(INCLUDE_ROOT ${CMAKE_CURRENT_SOURCE_DIR})
        set(INSTALL_ROOT ${CMAKE_INSTALL_INCLUDEDIR}/${NAME})
        set(HEADER_FOLDER ${INSTALL_ROOT})
    else()
        get_filename_component(INCLUDE_ROOT ${CMAKE_CURRENT_SOURCE_DIR} DIRECTORY)
        set(INSTALL_ROOT ${CMAKE_INSTALL_INCLUDEDIR})
        set(HEADER_FOLDER ${INSTALL_ROOT}/${FOLDER})
    endif()
    target_include_directories(${NAME} PUBLIC $<BUILD_INTERFACE:${INCLUDE_ROOT}> $<INSTALL_INTERFACE:${INSTALL_ROOT}>)
    # Before 1.0 every minor version may break its users.
    set_target_properties(${NAME} PROPERTIES
        VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
    install(TARGETS ${NAME} EXPORT ${PROJECT_NAME}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT dev)
    install(FILES ${ARG_HEADERS} DESTINATION ${HEADER_FOLDER} COMPONENT dev)
    set_property(GLOBAL APPEND PROPERTY QC_LIBRARIES ${NAME})
endfunction()

# qc_parts(NAME [FAST] SOURCES file... DEPENDS target... [PRIVATE target...])
#   What programs share, linked into each of them and not installed. Its headers are included as "folder/Header.h".
#   FAST is for code that works on each pattern or sample; other code of programs takes QC_PROGRAM_OPTIONS.
function(qc_parts NAME)
    cmake_parse_arguments(ARG "FAST" "" "SOURCES;DEPENDS;PRIVATE" ${ARGN})
    add_library(${NAME} STATIC ${ARG_SOURCES})
    target_link_libraries(${NAME} PUBLIC ${ARG_DEPENDS} PRIVATE ${ARG_PRIVATE})
    target_include_directories(${NAME} PUBLIC ${CMAKE_CURRENT_SOURCE_DIR}/..)
    if(NOT ARG_FAST)
        target_compile_options(${NAME} PRIVATE ${QC_PROGRAM_OPTIONS})
    endif()
    qc_precompiled(${NAME} products)
endfunction()

# qc_test(NAME SOURCES file... DEPENDS target... [WITHOUT_SANITIZERS pattern])
#   A GoogleTest executable, each of its tests known to ctest. QC_TEST_DATA names its folder of goldens. Builds with
#   sanitizers leave out the tests of the pattern, which take long and tell them nothing that others do not.
function(qc_test NAME)
    cmake_parse_arguments(ARG "" "WITHOUT_SANITIZERS" "SOURCES;DEPENDS" ${ARGN})
    add_executable(${NAME} ${ARG_SOURCES})
    target_link_libraries(${NAME} PRIVATE ${ARG_DEPENDS} GTest::gmock GTest::gtest_main)
    target_compile_options(${NAME} PRIVATE ${QC_TEST_OPTIONS})
    qc_precompiled(${NAME} tests)
    target_compile_definitions(${NAME} PRIVATE
        QC_TEST_DATA="${CMAKE_CURRENT_SOURCE_DIR}/test/data" QC_BINARY_DIR="${CMAKE_BINARY_DIR}")
    set(FILTER)
    if(QC_SANITIZE AND ARG_WITHOUT_SANITIZERS)
        set(FILTER TEST_FILTER -${ARG_WITHOUT_SANITIZERS})
    endif()
    gtest_discover_tests(${NAME} ${FILTER} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300)
endfunction()

# qc_app(NAME [FAST] SOURCES file... DEPENDS target...)
#   An installed command-line program; FAST as above.
function(qc_app NAME)
    cmake_parse_arguments(ARG "FAST" "" "SOURCES;DEPENDS" ${ARGN})
    add_executable(${NAME} ${ARG_SOURCES})
    target_link_libraries(${NAME} PRIVATE ${ARG_DEPENDS})
    if(NOT ARG_FAST)
        target_compile_options(${NAME} PRIVATE ${QC_PROGRAM_OPTIONS})
    endif()
    qc_precompiled(${NAME} products)
    install(TARGETS ${NAME} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
    set_property(GLOBAL APPEND PROPERTY QC_PROGRAMS ${NAME})
endfunction()
