# Third-party libraries, all from Debian packages (see packages.list).

find_package(GTest REQUIRED)
find_package(log4cplus REQUIRED)
find_package(Boost 1.74 REQUIRED COMPONENTS serialization regex program_options)
find_package(nlohmann_json 3.11 REQUIRED)
find_package(PNG 1.6 REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(ACE REQUIRED IMPORTED_TARGET ACE)
pkg_check_modules(SNDFILE REQUIRED IMPORTED_TARGET sndfile)

# FANN in double precision: features and targets are doubles. Its package describes the single-precision library only.
find_library(FANN_DOUBLE_LIBRARY doublefann REQUIRED)
find_path(FANN_INCLUDE_DIR doublefann.h REQUIRED)
add_library(FANN::double INTERFACE IMPORTED)
set_target_properties(FANN::double PROPERTIES
    INTERFACE_LINK_LIBRARIES ${FANN_DOUBLE_LIBRARY} INTERFACE_INCLUDE_DIRECTORIES ${FANN_INCLUDE_DIR})
