# header_only(NAME TARGET HEADER [definition...]): what a find module does for a library of headers.
# Debian's own CMake files lead to /usr/include, where the headers of Linux are as well.
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
