# The headers that most sources include, compiled once for all of them, which saves up to a third of the time of a build.
# A source includes what it uses all the same; the preset "plain" builds without, and so finds what is missing.
#
# qc_precompiled(TARGET products|tests) lets a target use them. Libraries and programs share them, which is why all are
# compiled with -fPIC.

option(QC_PRECOMPILE "Compile the headers of the standard library, of Boost, of nlohmann-json and of GoogleTest once" ON)

set(QC_PRODUCT_HEADERS
    <algorithm> <charconv> <cmath> <cstdint> <cstring> <filesystem> <fstream> <functional> <limits> <map> <memory>
    <optional> <set> <sstream> <string> <string_view> <utility> <vector>
    <boost/archive/polymorphic_iarchive.hpp> <boost/archive/polymorphic_oarchive.hpp>
    <boost/program_options/options_description.hpp> <boost/program_options/positional_options.hpp>
    <boost/program_options/value_semantic.hpp> <boost/program_options/variables_map.hpp>
    <boost/serialization/access.hpp> <boost/serialization/base_object.hpp> <boost/serialization/export.hpp>
    <boost/serialization/level.hpp> <boost/serialization/nvp.hpp> <boost/serialization/split_free.hpp>
    <boost/serialization/string.hpp> <boost/serialization/tracking.hpp> <boost/serialization/vector.hpp>
    <nlohmann/json.hpp>)
set(QC_TEST_HEADERS <gmock/gmock.h> <gtest/gtest.h>)

if(QC_PRECOMPILE)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # g++ 12 takes the string functions of a precompiled header for own code and warns of what cannot happen.
        add_compile_options(-Wno-array-bounds -Wno-stringop-overflow -Wno-stringop-overread)
    endif()
    # One set of definitions for all who share the headers, whatever they link.
    add_compile_definitions(BOOST_ALL_NO_LIB BOOST_PROGRAM_OPTIONS_DYN_LINK BOOST_SERIALIZATION_DYN_LINK)
    file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/precompiled.cpp CONTENT "// The headers alone.\n")
    add_library(precompiled-products OBJECT ${PROJECT_BINARY_DIR}/precompiled.cpp)
    target_precompile_headers(precompiled-products PRIVATE ${QC_PRODUCT_HEADERS})
    add_library(precompiled-tests OBJECT EXCLUDE_FROM_ALL ${PROJECT_BINARY_DIR}/precompiled.cpp)
    target_link_libraries(precompiled-tests PRIVATE GTest::gmock)
    target_compile_options(precompiled-tests PRIVATE ${QC_TEST_OPTIONS})
    target_precompile_headers(precompiled-tests PRIVATE ${QC_PRODUCT_HEADERS} ${QC_TEST_HEADERS})
endif()

function(qc_precompiled TARGET KIND)
    if(QC_PRECOMPILE)
        target_precompile_headers(${TARGET} REUSE_FROM precompiled-${KIND})
    endif()
endfunction()
