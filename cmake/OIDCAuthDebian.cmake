# Debian packages made by CPack: runtime, development files, keyring, command. scripts/package configures
# with Debian's flags.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME oidcauth)
set(CPACK_PACKAGE_CONTACT "$ENV{DEBFULLNAME} <$ENV{DEBEMAIL}>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# The libraries that the other packages link are in the build tree, not in the system.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
set(version ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})

# Additional contents of each package.
set(scratch "${PROJECT_BINARY_DIR}/debian")
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(cmake/debian/changelog.in "${scratch}/changelog.Debian" @ONLY)
configure_file(CHANGELOG.md "${scratch}/changelog" COPYONLY)
foreach(file IN ITEMS changelog changelog.Debian)
    execute_process(COMMAND gzip -9nf "${scratch}/${file}" COMMAND_ERROR_IS_FATAL ANY)
endforeach()

# oidcauth_package(NAME SECTION COMPONENTS component... DESCRIPTION line... [DEPENDS ...] [RECOMMENDS ...]
# [SUGGESTS ...]). Dependencies on libraries are determined automatically. cmake/debian/lintian-overrides,
# or .NAME of it, lists the exceptions for lintian.
function(oidcauth_package name section)
    cmake_parse_arguments(PARSE_ARGV 2 package "" ""
        "COMPONENTS;DESCRIPTION;DEPENDS;RECOMMENDS;SUGGESTS")
    string(MAKE_C_IDENTIFIER "${name}" group)
    string(TOUPPER "CPACK_DEBIAN_${group}" of)
    foreach(component IN LISTS package_COMPONENTS)
        string(TOUPPER "${component}" upper)
        set(CPACK_COMPONENT_${upper}_GROUP ${group} PARENT_SCOPE)
    endforeach()
    set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${package_COMPONENTS} PARENT_SCOPE)
    set(${of}_PACKAGE_NAME ${name} PARENT_SCOPE)
    set(${of}_PACKAGE_SECTION ${section} PARENT_SCOPE)
    set(${of}_PACKAGE_SHLIBDEPS ON PARENT_SCOPE)
    foreach(relation IN ITEMS DEPENDS RECOMMENDS SUGGESTS)
        list(JOIN package_${relation} ", " names)
        set(${of}_PACKAGE_${relation} "${names}" PARENT_SCOPE)
    endforeach()
    list(POP_FRONT package_DESCRIPTION summary)
    list(JOIN package_DESCRIPTION "\n" text)
    string(CONCAT text "${summary}\n"
        "OIDCAuth gets OAuth 2.0 and OpenID Connect tokens for desktop programs and\n"
        "their background services. A user signs in once, in the browser; a service\n"
        "uses a client secret. Tokens are stored, reused while valid, and refreshed.\n\n"
        "${text}")
    set(${of}_DESCRIPTION "${text}" PARENT_SCOPE)

    list(GET package_COMPONENTS 0 component)
    install(FILES cmake/debian/copyright "${scratch}/changelog.gz" "${scratch}/changelog.Debian.gz"
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component})
    set(overrides "${PROJECT_SOURCE_DIR}/cmake/debian/lintian-overrides")
    if(EXISTS "${overrides}.${name}")
        set(overrides "${overrides}.${name}")
    endif()
    install(FILES "${overrides}" RENAME ${name}
        DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides COMPONENT ${component})
endfunction()

set(library liboidcauth${OIDCAUTH_ABI_VERSION})
oidcauth_package(${library} libs
    COMPONENTS OIDCAuth
    RECOMMENDS ca-certificates
    SUGGESTS xdg-utils sensible-utils
    DESCRIPTION "OAuth 2.0 and OpenID Connect client library"
        "This package contains the shared libraries.")
oidcauth_package(liboidcauth-dev libdevel
    COMPONENTS OIDCAuth_Development OIDCAuth_Testing
    DEPENDS "${library} (= ${version})" libcpprest-dev libssl-dev
    SUGGESTS "liboidcauth-keyring (= ${version})" cmake pkg-config
    DESCRIPTION "OAuth 2.0 and OpenID Connect client library, development files"
        "This package contains the headers, packages for CMake and pkg-config, a"
        "provider that runs inside a test program, and the API pages.")
oidcauth_package(liboidcauth-keyring libs
    COMPONENTS OIDCAuth_Keyring
    DEPENDS "${library} (= ${version})"
    RECOMMENDS "gnome-keyring | org.freedesktop.secrets"
    DESCRIPTION "OAuth 2.0 and OpenID Connect client library, keyring"
        "This package contains the module that stores tokens in the desktop's keyring.")
oidcauth_package(oidcauth utils
    COMPONENTS OIDCAuth_Tool
    DEPENDS "${library} (= ${version})"
    RECOMMENDS ca-certificates "liboidcauth-keyring (= ${version})"
    SUGGESTS xdg-utils
    DESCRIPTION "OAuth 2.0 and OpenID Connect tokens on the command line"
        "This package contains the command: it signs in, prints tokens, runs programs"
        "with them, and checks what a provider offers.")

install(DIRECTORY docs examples DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/liboidcauth-dev
    PATTERN docs/api EXCLUDE)
install(DIRECTORY "${PROJECT_BINARY_DIR}/api/html" DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/liboidcauth-dev)
set_property(TARGET oidcauth_api PROPERTY EXCLUDE_FROM_ALL OFF)
install(FILES README.md SECURITY.md CONTRIBUTING.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/liboidcauth-dev)

# Manual pages are stored compressed.
install(CODE "
    file(GLOB pages \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_MANDIR}/man1/oidcauth*.1\")
    if(pages)
        execute_process(COMMAND gzip -9nf \${pages} COMMAND_ERROR_IS_FATAL ANY)
    endif()" COMPONENT OIDCAuth_Tool)

# Debian runs ldconfig by a trigger. CPack would write scripts that call it, unless the package claims to
# have its own scripts, although there are none.
string(TOUPPER "CPACK_DEBIAN_${library}" of)
string(MAKE_C_IDENTIFIER "${of}" of)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA "${scratch}/postinst" "${scratch}/postrm")
set(${of}_PACKAGE_CONTROL_EXTRA ${CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA}
    "${PROJECT_SOURCE_DIR}/cmake/debian/triggers")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
include(CPack)
