# Third-party libraries, all from Debian packages (see packages.list).

find_package(GTest REQUIRED)
find_package(log4cplus REQUIRED)
find_package(Boost 1.74 REQUIRED COMPONENTS serialization regex program_options)
find_package(PkgConfig REQUIRED)
pkg_check_modules(ACE REQUIRED IMPORTED_TARGET ACE)
pkg_check_modules(SNDFILE REQUIRED IMPORTED_TARGET sndfile)
pkg_check_modules(FANN REQUIRED IMPORTED_TARGET fann)
