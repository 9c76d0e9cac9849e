# What an installed OIDCAuth consists of. A host application that brings its own OIDCAuthHost
# installs that itself.

set(include_dir ${CMAKE_INSTALL_INCLUDEDIR}/oidcauth)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/OIDCAuth)

set(targets OIDCAuth)
get_target_property(host_dir OIDCAuthHost SOURCE_DIR)
if(host_dir STREQUAL "${PROJECT_SOURCE_DIR}/host")
    list(APPEND targets OIDCAuthHost)
    install(TARGETS OIDCAuthKeyring LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()
if(OIDCAUTH_BUILD_TESTING)
    list(APPEND targets OIDCAuthTesting)
    install(FILES
            testing/RecordedRequest.h testing/SigningKey.h testing/TestBrowser.h
            testing/TestProvider.h testing/TestToken.h
            DESTINATION ${include_dir}/testing)
endif()
install(TARGETS ${targets} EXPORT OIDCAuthTargets)
install(FILES
    auth/COIDCHelper.h auth/COIDCToken.h auth/IExclusivePermit.h auth/IdTokenClaims.h
    auth/Requests.h
    DESTINATION ${include_dir}/auth)
install(FILES platform/Export.h platform/Tasks.h DESTINATION ${include_dir}/platform)
install(DIRECTORY host DESTINATION ${include_dir} FILES_MATCHING PATTERN "*.h"
        PATTERN detail EXCLUDE)

install(EXPORT OIDCAuthTargets NAMESPACE OIDCAuth:: DESTINATION ${package_dir})
configure_package_config_file(cmake/OIDCAuthConfig.cmake.in OIDCAuthConfig.cmake
    INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(OIDCAuthConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/OIDCAuthConfig.cmake ${PROJECT_BINARY_DIR}/OIDCAuthConfigVersion.cmake
    DESTINATION ${package_dir})
# Relative, so that the tree can be moved.
file(RELATIVE_PATH include_from_pc "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/${include_dir}")
configure_file(cmake/oidcauth.pc.in oidcauth.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/oidcauth.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
