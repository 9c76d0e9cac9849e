# The compiler options of every source in this project.

if(NOT DEFINED CMAKE_CXX_STANDARD)
    set(CMAKE_CXX_STANDARD 17)
endif()
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
# Installed programs find the library relative to themselves, wherever the tree is.
set(CMAKE_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
if(WIN32)
    # The name is OIDCAuth.dll with every compiler.
    set(CMAKE_SHARED_LIBRARY_PREFIX "")
endif()

# If this project is part of another one, that one decides how and where to build.
if(PROJECT_IS_TOP_LEVEL)
    set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
    set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
    set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")
    if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
        set(CMAKE_BUILD_TYPE Release CACHE STRING "" FORCE)
    endif()
    find_program(OIDCAUTH_CCACHE ccache)
    if(OIDCAUTH_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
        set(CMAKE_CXX_COMPILER_LAUNCHER "${OIDCAUTH_CCACHE}")
    endif()
endif()

# Warnings and instrumentation for our own code only; never part of the installed interface.
add_library(oidcauth_options INTERFACE)
target_compile_options(oidcauth_options INTERFACE
    $<$<CXX_COMPILER_ID:GNU,Clang>:-Wall -Wextra -Wpedantic -Wshadow -Wconversion>
    $<$<CXX_COMPILER_ID:MSVC>:/W4 /permissive- /utf-8 /bigobj>)
if(OIDCAUTH_WERROR)
    target_compile_options(oidcauth_options INTERFACE $<$<CXX_COMPILER_ID:GNU,Clang>:-Werror>)
endif()
# The HTTP library's macro U() conflicts with the headers of fmt and GoogleTest.
target_compile_definitions(oidcauth_options INTERFACE _TURN_OFF_PLATFORM_STRING)
if(WIN32)
    # Windows 10 headers, with the wide functions, and without the macros min and max.
    target_compile_definitions(oidcauth_options INTERFACE
        _WIN32_WINNT=0x0A00 UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN)
endif()
if(CMAKE_UNITY_BUILD)
    # GCC treats a source that is included in another one as a header, and warns about its private types.
    target_compile_options(oidcauth_options INTERFACE
        $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
endif()
if(OIDCAUTH_SANITIZE)
    target_compile_options(oidcauth_options INTERFACE
        -fsanitize=${OIDCAUTH_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    target_link_options(oidcauth_options INTERFACE -fsanitize=${OIDCAUTH_SANITIZE})
    # The HTTP library's stream templates have a hidden copy of their virtual tables in our objects, because
    # everything there is hidden; the check treats the two copies as different classes.
    if(OIDCAUTH_SANITIZE MATCHES "undefined")
        target_compile_options(oidcauth_options INTERFACE -fno-sanitize=vptr)
    endif()
    # A fence inside Asio's headers, which ThreadSanitizer does not support, only causes a warning. With the
    # other sanitizers GCC takes members of its own std::regex for uninitialized.
    target_compile_options(oidcauth_options INTERFACE
        $<$<CXX_COMPILER_ID:GNU>:-Wno-tsan -Wno-maybe-uninitialized>)
endif()
if(OIDCAUTH_COVERAGE)
    target_compile_options(oidcauth_options INTERFACE --coverage -fprofile-update=atomic)
    target_link_options(oidcauth_options INTERFACE --coverage)
endif()

# Adds the warnings, but not to the installed interface.
function(oidcauth_own_code target)
    target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:oidcauth_options>)
endfunction()

# The same for code outside the library, and for tests. They wait more than they compute, so RelWithDebInfo,
# which is for development, saves the time that the optimizer would take.
function(oidcauth_outer_code target)
    oidcauth_own_code(${target})
    target_compile_options(${target} PRIVATE
        $<$<AND:$<CONFIG:RelWithDebInfo>,$<CXX_COMPILER_ID:GNU,Clang>>:-O1>)
endfunction()
function(oidcauth_test_code target)
    oidcauth_own_code(${target})
    target_compile_options(${target} PRIVATE
        $<$<AND:$<CONFIG:RelWithDebInfo>,$<CXX_COMPILER_ID:GNU,Clang>>:-O0>)
endfunction()

# Makes a shared library export the names in exports.map beside its CMakeLists.txt, and no others.
function(oidcauth_exports target)
    get_target_property(type ${target} TYPE)
    if(type STREQUAL "SHARED_LIBRARY" AND CMAKE_SYSTEM_NAME STREQUAL "Linux")
        set(map "${CMAKE_CURRENT_SOURCE_DIR}/exports.map")
        target_link_options(${target} PRIVATE "LINKER:--version-script=${map}")
        set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS "${map}")
    endif()
endfunction()
