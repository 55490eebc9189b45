# Compiler settings that hold for every target, and the switches of the build.

option(QC_BUILD_BENCHMARKS "Build the programs under bench/" OFF)
option(QC_BUILD_FUZZERS "Build the targets under fuzz/" OFF)
set(QC_SANITIZE "" CACHE STRING "Sanitizers to build with, for example address,undefined")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "" FORCE)
endif()
set(CMAKE_CXX_FLAGS_RELEASE "-O3 -DNDEBUG")
# The sources of tests run once: optimising them takes longer than they do. What they test is optimised.
set(QC_TEST_OPTIONS -O0)
# Programs spend their time in the libraries; less optimisation takes a third off the time to compile them.
set(QC_PROGRAM_OPTIONS -O1)

# Results are compared bit by bit: no contraction of a multiplication and an addition.
add_compile_options(-fPIC -Wall -Wextra -Wshadow -Werror=return-type -ffp-contract=off)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # g++ 12 reports overlapping copies in plain concatenations of strings.
    add_compile_options(-Wno-restrict)
endif()
# Messages name source files relative to the tree.
add_compile_options(-ffile-prefix-map=${CMAKE_SOURCE_DIR}/=)
if(QC_SANITIZE)
    add_compile_options(-fsanitize=${QC_SANITIZE} -fno-omit-frame-pointer -g1)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND QC_SANITIZE MATCHES "undefined")
        # These three take g++ more than half of the time of a build. A null pointer ends a program under
        # AddressSanitizer as well; the clang builds under fuzz/ check null pointers and alignment.
        add_compile_options(-fno-sanitize=null,alignment,vptr)
    endif()
    add_link_options(-fsanitize=${QC_SANITIZE})
endif()

find_program(QC_CCACHE ccache)
if(QC_CCACHE)
    # The first is what its manual asks for with precompiled headers; without the others it reads the precompiled file,
    # 200 MB, again for every source.
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env
        CCACHE_SLOPPINESS=pch_defines,time_macros CCACHE_DEPEND=1 CCACHE_INODECACHE=1 ${QC_CCACHE})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        add_compile_options(-fpch-preprocess)
    endif()
endif()

# As Debian's packages have it, whatever the prefix.
if(CMAKE_LIBRARY_ARCHITECTURE)
    set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE} CACHE PATH "Folder of libraries below the prefix")
endif()
include(GNUInstallDirs)
# What programs find beside themselves, below the prefix.
set(QC_SHARED_FOLDER ${CMAKE_INSTALL_DATADIR}/${PROJECT_NAME})
# Of libraries, which lie beside each other, and of programs.
set(CMAKE_INSTALL_RPATH "$ORIGIN;$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
enable_testing()
