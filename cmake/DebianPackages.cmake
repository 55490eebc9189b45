# `cpack -G DEB` in a build: the Debian packages of what is installed, a package a component.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ${PROJECT_NAME})
set(CPACK_PACKAGE_VENDOR "Vexalor")
set(CPACK_PACKAGE_CONTACT "Vexalor maintainers <maintainers@vexalor.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
# Our own libraries depend on each other: let dpkg-shlibdeps find them where they were built.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/FinishPackage.cmake)

# qc_package(COMPONENT PACKAGE SECTION SUMMARY DESCRIPTION)
#   The package of a component, with the changelog and the copyright file that policy asks for.
macro(qc_package COMPONENT PACKAGE SECTION SUMMARY DESCRIPTION)
    string(TOUPPER ${COMPONENT} UPPER)
    list(APPEND CPACK_COMPONENTS_ALL ${COMPONENT})
    set(CPACK_DEBIAN_${UPPER}_PACKAGE_NAME ${PACKAGE})
    set(CPACK_DEBIAN_${UPPER}_PACKAGE_SECTION ${SECTION})
    set(CPACK_DEBIAN_${UPPER}_DESCRIPTION "${SUMMARY}\n${DESCRIPTION}")
    set(CPACK_COMPONENT_${UPPER}_DESCRIPTION "${SUMMARY}\n${DESCRIPTION}")
    install(FILES ${PROJECT_BINARY_DIR}/debian/changelog ${CMAKE_CURRENT_LIST_DIR}/copyright
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${PACKAGE} COMPONENT ${COMPONENT} EXCLUDE_FROM_ALL)
endmacro()

string(TIMESTAMP QC_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC) # SOURCE_DATE_EPOCH, where it is set
file(CONFIGURE OUTPUT debian/changelog @ONLY CONTENT
"@PROJECT_NAME@ (@PROJECT_VERSION@) unstable; urgency=medium

  * What changed stands in CHANGELOG.md of the sources.

 -- @CPACK_PACKAGE_CONTACT@  @QC_DATE@
")

set(QC_SONAME ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
qc_package(library lib${PROJECT_NAME}${QC_SONAME} libs
    "streams of training patterns and classifiers for audio"
    "Patterns from pattern files and annotated recordings, scaling, error\nmeasures, a tester, and classifiers written as expression scripts.")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
file(CONFIGURE OUTPUT debian/triggers CONTENT "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/debian/triggers)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_STRICT_PERMISSION ON)

qc_package(dev lib${PROJECT_NAME}-dev libdevel
    "streams of training patterns and classifiers for audio: headers"
    "Headers, a CMake package and a pkg-config file of the library.")
set(CPACK_COMPONENT_DEV_DEPENDS library)
# What the headers include.
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libboost-serialization-dev, libboost-program-options-dev")

qc_package(tools ${PROJECT_NAME}-tools sound
    "trains, tests and runs classifiers of annotated recordings"
    "Programs that configure streams of patterns, look at them, convert them,\ntrain and test networks, classify recordings and work on annotations; with\nexample scripts, manual pages and completions.")
set(CPACK_COMPONENT_TOOLS_DEPENDS library)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
# The scripts that make recordings.
set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS "python3, python3-numpy")

if(TARGET python-module)
    qc_package(python python3-vexalor-ml python
        "streams of training patterns and classifiers for audio: Python module"
        "Generators of patterns, detectors, scaling, tests and classifiers of audio\nas NumPy arrays.")
    set(CPACK_COMPONENT_PYTHON_DEPENDS library)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS ON)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3 (>= 3.11), python3 (<< 3.12), python3-numpy")
    set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS "python3-distributed, python3-torch")
    # Byte code, which is no file of the package, comes and goes with it.
    set(QC_MODULE_FILES python3-vexalor-ml)
    file(CONFIGURE OUTPUT debian/postinst CONTENT "#!/bin/sh\nset -e\n[ \"$1\" != configure ] || py3compile -p @QC_MODULE_FILES@\n" @ONLY)
    file(CONFIGURE OUTPUT debian/prerm CONTENT "#!/bin/sh\nset -e\npy3clean -p @QC_MODULE_FILES@\n" @ONLY)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/debian/postinst ${PROJECT_BINARY_DIR}/debian/prerm)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_STRICT_PERMISSION ON)
    install(FILES ${PROJECT_SOURCE_DIR}/examples/python/run_on_cluster.py ${PROJECT_SOURCE_DIR}/examples/python/train_detector.py
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/python3-vexalor-ml/examples COMPONENT python)
endif()

if(TARGET vexalor-openmpi)
    qc_package(mpi ${PROJECT_NAME}-mpi sound
        "trains, tests and runs classifiers of annotated recordings: on clusters"
        "What lets the processes of one command work together that mpirun has\nstarted, on the cores of a machine or on many machines.")
    set(CPACK_COMPONENT_MPI_DEPENDS library tools)
    set(CPACK_DEBIAN_MPI_PACKAGE_SHLIBDEPS ON)
    set(CPACK_DEBIAN_MPI_PACKAGE_RECOMMENDS openmpi-bin)
endif()

qc_package(doc ${PROJECT_NAME}-doc doc
    "trains, tests and runs classifiers of annotated recordings: documents"
    "The guide to the programs, the file formats, the language of expression\nscripts, the library.")
set(CPACK_DEBIAN_DOC_PACKAGE_ARCHITECTURE all)
install(FILES ${PROJECT_SOURCE_DIR}/README.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${PROJECT_NAME}-doc COMPONENT doc)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/doc DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${PROJECT_NAME}-doc COMPONENT doc)

include(CPack)
