# The option OIDCAUTH_BUILD_KEYRING: on if this project is built by itself and libsecret is installed. To
# switch it on, libsecret must be installed.

if(NOT DEFINED OIDCAUTH_BUILD_KEYRING OR OIDCAUTH_BUILD_KEYRING)
    set(needed QUIET)
    if(OIDCAUTH_BUILD_KEYRING)
        set(needed REQUIRED)
    endif()
    find_package(PkgConfig ${needed})
    if(PkgConfig_FOUND)
        pkg_check_modules(LIBSECRET ${needed} IMPORTED_TARGET libsecret-1>=0.20)
    endif()
endif()
set(default OFF)
if(PROJECT_IS_TOP_LEVEL AND TARGET PkgConfig::LIBSECRET)
    set(default ON)
endif()
option(OIDCAUTH_BUILD_KEYRING "Build the token store in the desktop's keyring (libsecret)" ${default})
