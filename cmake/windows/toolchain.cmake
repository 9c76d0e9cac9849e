# Cross-builds for Windows with mingw-w64, using the dependencies that scripts/windows has built.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(prefix x86_64-w64-mingw32)
# "posix": the other variant has no std::thread.
set(CMAKE_C_COMPILER ${prefix}-gcc-posix)
set(CMAKE_CXX_COMPILER ${prefix}-g++-posix)
set(CMAKE_RC_COMPILER ${prefix}-windres)

# Each checkout has its own; a build of a single dependency sets it to the ones that it needs.
if(NOT DEFINED OIDCAUTH_WINDOWS_SYSROOT)
    cmake_path(SET OIDCAUTH_WINDOWS_SYSROOT NORMALIZE
        "${CMAKE_CURRENT_LIST_DIR}/../../build/windows-sysroot")
endif()
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES OIDCAUTH_WINDOWS_SYSROOT)
file(GLOB parts LIST_DIRECTORIES true "${OIDCAUTH_WINDOWS_SYSROOT}/*")
set(CMAKE_FIND_ROOT_PATH ${parts} /usr/${prefix})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
# Nothing of this system: its headers would hide those of mingw-w64.
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
list(PREPEND CMAKE_MODULE_PATH "${CMAKE_CURRENT_LIST_DIR}")
