# header_only(NAME TARGET HEADER [definition...]): the work of a find module for a header-only library.
# Debian's own CMake files point to /usr/include, which also has the headers of Linux.
include(FindPackageHandleStandardArgs)
macro(header_only name target header)
    find_path(${name}_INCLUDE_DIR ${header})
    mark_as_advanced(${name}_INCLUDE_DIR)
    find_package_handle_standard_args(${name} DEFAULT_MSG ${name}_INCLUDE_DIR)
    if(${name}_FOUND AND NOT TARGET ${target})
        add_library(${target} INTERFACE IMPORTED)
        target_include_directories(${target} SYSTEM INTERFACE "${${name}_INCLUDE_DIR}")
        target_compile_definitions(${target} INTERFACE ${ARGN})
    endif()
endmacro()
