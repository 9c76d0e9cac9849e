# Differences of the tests on Windows.

target_sources(oidcauth_tests PRIVATE
    support/windows/HttpClient.cpp
    support/windows/Usage.cpp
    windows/TlsTest.cpp)
# The tests' host is a separate library that replaces the other one: a definition in a program does not
# replace one in a DLL.
find_package(fmt REQUIRED)
find_package(spdlog REQUIRED)
add_library(oidcauth_test_host SHARED
    support/TestHost.cpp
    support/windows/Trust.cpp
    $<TARGET_OBJECTS:OIDCAuthHost>
    $<FILTER:$<TARGET_OBJECTS:OIDCAuthHost_HttpProxyConfig>,EXCLUDE,/HttpProxyConfig\\.cpp>)
oidcauth_own_code(oidcauth_test_host)
target_compile_definitions(oidcauth_test_host PRIVATE OIDCAuthHost_EXPORTS)
# Also exports unmarked functions.
set_target_properties(oidcauth_test_host PROPERTIES WINDOWS_EXPORT_ALL_SYMBOLS ON)
if(MINGW)
    target_link_options(oidcauth_test_host PRIVATE LINKER:--export-all-symbols)
endif()
get_target_property(host_libraries OIDCAuthHost LINK_LIBRARIES)
list(FILTER host_libraries EXCLUDE REGEX "OIDCAuthHost_HttpProxyConfig")
target_link_libraries(oidcauth_test_host PRIVATE ${host_libraries} crypt32)
# The program contains the library's own objects.
target_compile_definitions(oidcauth_tests PRIVATE OIDCAuth_EXPORTS)
target_link_libraries(oidcauth_tests PRIVATE oidcauth_test_host psapi)
if(MINGW)
    # Here a short build matters most.
    target_compile_options(oidcauth_tests PRIVATE -O0)
endif()
