# The meaning of the version for users of the library: docs/compatibility.md. The soname, the name of the
# keyring's module and the package for CMake change together, with each version that may break a program.

set(OIDCAUTH_ABI_VERSION ${PROJECT_VERSION_MAJOR})
set(OIDCAUTH_COMPATIBILITY SameMajorVersion)
if(PROJECT_VERSION_MAJOR EQUAL 0)
    set(OIDCAUTH_ABI_VERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
    set(OIDCAUTH_COMPATIBILITY SameMinorVersion)
endif()

# Generated headers; they come after the source tree in the include path.
set(OIDCAUTH_GENERATED_DIR "${PROJECT_BINARY_DIR}/include")
configure_file(cmake/version.h.in "${OIDCAUTH_GENERATED_DIR}/oidcauth/version.h" @ONLY)
