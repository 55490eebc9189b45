# Run by cpack on each package's files before they are packed: no search paths of the build, manual pages and
# changelogs compressed as policy asks.

file(GLOB_RECURSE FILES LIST_DIRECTORIES false "${CPACK_TEMPORARY_DIRECTORY}/*")
foreach(FILE ${FILES})
    if(FILE MATCHES "/usr/(bin|lib/[^/]+)/[^/]+$|[.]cpython-[^/]+[.]so$" AND NOT IS_SYMLINK ${FILE})
        file(RPATH_REMOVE FILE ${FILE})
    elseif(FILE MATCHES "/share/man/[^/]+/[^/]+$|/changelog$")
        execute_process(COMMAND gzip -9n ${FILE} COMMAND_ERROR_IS_FATAL ANY)
    endif()
endforeach()
