# The components of an installation: OIDCAuth (for running programs), OIDCAuth_Development (for building
# them), OIDCAuth_Keyring, OIDCAuth_Testing, OIDCAuth_Tool. A host application with its own OIDCAuthHost
# installs that itself.

set(include_dir ${CMAKE_INSTALL_INCLUDEDIR}/oidcauth)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/OIDCAuth)
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME OIDCAuth_Development)

# Symbols are stripped on installation unless the build type is Debug; our own build tree keeps them. If
# this project is part of another one, that one decides.
if(PROJECT_IS_TOP_LEVEL)
    install(CODE [[
        if(NOT CMAKE_INSTALL_CONFIG_NAME STREQUAL "Debug")
            set(CMAKE_INSTALL_DO_STRIP TRUE)
        endif()]] ALL_COMPONENTS)
endif()
# CMake does not strip archives. oidcauth_strip_archive(COMPONENT FILE)
function(oidcauth_strip_archive component file)
    install(CODE "
        if(CMAKE_INSTALL_DO_STRIP)
            set(archive \"${CMAKE_INSTALL_LIBDIR}/${file}\")
            cmake_path(ABSOLUTE_PATH archive BASE_DIRECTORY \"\${CMAKE_INSTALL_PREFIX}\")
            execute_process(
                COMMAND \"${CMAKE_STRIP}\" --strip-debug \"\$ENV{DESTDIR}\${archive}\"
                COMMAND_ERROR_IS_FATAL ANY)
        endif()" COMPONENT ${component})
endfunction()
# oidcauth_install(COMPONENT EXPORT TARGET...): shared libraries go into the component OIDCAuth.
function(oidcauth_install component export)
    install(TARGETS ${ARGN} EXPORT ${export}
        LIBRARY COMPONENT OIDCAuth NAMELINK_COMPONENT ${component}
        ARCHIVE COMPONENT ${component}
        RUNTIME COMPONENT OIDCAuth)
    foreach(target IN LISTS ARGN)
        get_target_property(type ${target} TYPE)
        if(type STREQUAL "STATIC_LIBRARY")
            oidcauth_strip_archive(${component} "$<TARGET_FILE_NAME:${target}>")
        endif()
    endforeach()
    install(EXPORT ${export} NAMESPACE OIDCAuth:: DESTINATION ${package_dir} COMPONENT ${component})
endfunction()

# ---- the library
set(libraries OIDCAuth OIDCAuthHeaders)
set(has_own_host ON)
if(TARGET OIDCAuth::Host)
    set(has_own_host OFF)
    list(APPEND libraries OIDCAuthHost)
endif()
oidcauth_install(OIDCAuth_Development OIDCAuthTargets ${libraries})
set(auth_headers
    auth/COIDCHelper.h auth/COIDCToken.h auth/IExclusivePermit.h
    auth/IRefreshAwareStore.h auth/IStoreFailure.h auth/IdTokenClaims.h auth/OIDCError.h auth/Requests.h)
install(FILES ${auth_headers} DESTINATION ${include_dir}/auth)
install(FILES "${OIDCAUTH_GENERATED_DIR}/oidcauth/version.h" DESTINATION ${include_dir}/oidcauth)
install(FILES platform/Export.h platform/Tasks.h DESTINATION ${include_dir}/platform)
if(NOT has_own_host)
    install(DIRECTORY host/standalone DESTINATION ${include_dir}/host
        FILES_MATCHING PATTERN "*.h" PATTERN detail EXCLUDE PATTERN linux EXCLUDE
        PATTERN windows EXCLUDE)
    if(WIN32)
        install(FILES host/standalone/windows/DebuggerLog.h
            DESTINATION ${include_dir}/host/standalone/windows)
    endif()
endif()
install(DIRECTORY host DESTINATION ${include_dir}
    FILES_MATCHING PATTERN "*.h" PATTERN standalone EXCLUDE PATTERN detail EXCLUDE)

# ---- its components
if(TARGET OIDCAuthKeyring)
    install(TARGETS OIDCAuthKeyring
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT OIDCAuth_Keyring)
    file(WRITE "${PROJECT_BINARY_DIR}/OIDCAuthKeyring.cmake"
        "# Says that the module is installed which KeyringTokenStore loads.\n")
    install(FILES "${PROJECT_BINARY_DIR}/OIDCAuthKeyring.cmake"
        DESTINATION ${package_dir} COMPONENT OIDCAuth_Keyring)
endif()
if(OIDCAUTH_BUILD_TESTING)
    oidcauth_install(OIDCAuth_Testing OIDCAuthTestingTargets OIDCAuthTesting)
    set(testing_headers
        testing/RecordedRequest.h testing/SigningKey.h testing/TestBrowser.h
        testing/TestProvider.h testing/TestToken.h)
    install(FILES ${testing_headers}
        DESTINATION ${include_dir}/testing COMPONENT OIDCAuth_Testing)
endif()
if(OIDCAUTH_BUILD_TOOL)
    install(TARGETS oidcauth
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT OIDCAuth_Tool)
endif()

# ---- files by which other projects find it
configure_package_config_file(cmake/OIDCAuthConfig.cmake.in OIDCAuthConfig.cmake
    INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(OIDCAuthConfigVersion.cmake COMPATIBILITY ${OIDCAUTH_COMPATIBILITY})
install(FILES
    ${PROJECT_BINARY_DIR}/OIDCAuthConfig.cmake ${PROJECT_BINARY_DIR}/OIDCAuthConfigVersion.cmake
    DESTINATION ${package_dir})
# Relative, so that the tree can be moved.
file(RELATIVE_PATH include_from_pc "/${pkgconfig_dir}" "/${include_dir}")
set(static_cflags "")
set(static_libs "")
if(OIDCAUTH_LIBRARY_TYPE STREQUAL "STATIC")
    set(static_cflags " -DOIDCAUTH_STATIC -DOIDCAUTH_HOST_STATIC")
    set(static_libs "-lspdlog -lfmt -lssl -lcrypto -lz -ldl")
endif()
# The names in an application's own host are not known here.
if(NOT has_own_host)
    configure_file(cmake/oidcauth.pc.in oidcauth.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/oidcauth.pc DESTINATION ${pkgconfig_dir})
endif()
if(OIDCAUTH_BUILD_TESTING)
    configure_file(cmake/oidcauth-testing.pc.in oidcauth-testing.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/oidcauth-testing.pc
        DESTINATION ${pkgconfig_dir} COMPONENT OIDCAuth_Testing)
endif()
