# Tests of the standalone host alone, with nothing replaced.
add_executable(oidcauth_host_tests
    FilePermitTest.cpp
    FileTokenStoreTest.cpp
    LogSinksTest.cpp
    ProxySettingsTest.cpp)
if(WIN32)
    set(system windows)
    target_sources(oidcauth_host_tests PRIVATE
        windows/AccessRulesTest.cpp
        windows/DebuggerLogTest.cpp
        "${PROJECT_SOURCE_DIR}/host/standalone/windows/AccessRules.cpp")
    target_link_libraries(oidcauth_host_tests PRIVATE crypt32)
    if(MINGW)
        target_compile_options(oidcauth_host_tests PRIVATE -O0)
    endif()
else()
    set(system linux)
    target_sources(oidcauth_host_tests PRIVATE linux/FileTokenStoreCrashTest.cpp)
endif()
target_sources(oidcauth_host_tests PRIVATE
    ${system}/FilePermitTest.cpp
    ${system}/FileTokenStoreTest.cpp
    support/${system}/Privacy.cpp
    support/${system}/Variable.cpp)
oidcauth_test_code(oidcauth_host_tests)
set_target_properties(oidcauth_host_tests PROPERTIES UNITY_BUILD_BATCH_SIZE 5)
target_link_libraries(oidcauth_host_tests PRIVATE OIDCAuthHost OpenSSL::Crypto GTest::gmock_main)
gtest_discover_tests(oidcauth_host_tests DISCOVERY_MODE PRE_TEST PROPERTIES TIMEOUT 100)
