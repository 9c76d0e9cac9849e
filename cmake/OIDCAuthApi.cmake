# The target `oidcauth_api`: pages in api/html of the build tree, made by Doxygen from the headers that are
# installed and from the pages of prose. A warning is an error.

find_package(Doxygen 1.9.4 QUIET)
if(NOT TARGET Doxygen::doxygen)
    if(OIDCAUTH_DEBIAN_PACKAGES)
        message(FATAL_ERROR "liboidcauth-dev contains the API pages, which need Doxygen 1.9.4")
    endif()
    return()
endif()
# The pages also cover this project's host and the test provider.
if(has_own_host OR NOT OIDCAUTH_BUILD_TESTING)
    return()
endif()

file(GLOB pages RELATIVE "${PROJECT_SOURCE_DIR}" docs/*.md docs/api/*.md docs/api/*.dox)
set(api_input ${auth_headers} ${testing_headers} host platform/Tasks.h
    README.md ${pages} examples/README.md SECURITY.md CHANGELOG.md)
list(TRANSFORM api_input PREPEND "\"${PROJECT_SOURCE_DIR}/")
list(TRANSFORM api_input APPEND "\"")
list(APPEND api_input "\"${OIDCAUTH_GENERATED_DIR}/oidcauth/version.h\"")
list(JOIN api_input " " api_input)
# The headers in host/ that are not installed, or do not concern callers.
file(GLOB api_exclude RELATIVE "${PROJECT_SOURCE_DIR}/host" host/standalone/windows/*.h)
list(REMOVE_ITEM api_exclude standalone/windows/DebuggerLog.h)
list(APPEND api_exclude detail/* standalone/detail/* standalone/linux/* Export.h HttpTypes.h)
list(TRANSFORM api_exclude PREPEND "\"${PROJECT_SOURCE_DIR}/host/")
list(TRANSFORM api_exclude APPEND "\"")
list(JOIN api_exclude " " api_exclude)
configure_file(docs/api/Doxyfile.in api/Doxyfile @ONLY)
add_custom_target(oidcauth_api
    COMMAND "${CMAKE_COMMAND}" -E rm -rf html
    COMMAND Doxygen::doxygen Doxyfile
    COMMAND sh "${PROJECT_SOURCE_DIR}/docs/api/tidy.sh" html
    WORKING_DIRECTORY "${PROJECT_BINARY_DIR}/api"
    VERBATIM)
