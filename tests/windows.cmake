# What differs for the tests on Windows.

# These ask the system for what is known of it on Linux only, or test what is not there yet.
set(not_here
    AuthCodeListenerTest.cpp
    BrowserTest.cpp
    FaultMatrixTest.cpp
    HttpExchangeTest.cpp
    ProcessTest.cpp
    RedirectServerTest.cpp)
# The tests' host is a library of its own, linked before the other one: no definition in a program
# stands before that in a DLL.
set_source_files_properties(${not_here} support/TestHost.cpp PROPERTIES HEADER_FILE_ONLY ON)
find_package(fmt REQUIRED)
find_package(spdlog REQUIRED)
add_library(oidcauth_test_host SHARED
    support/TestHost.cpp
    support/windows/Trust.cpp
    "${PROJECT_SOURCE_DIR}/host/standalone/LogSinks.cpp"
    "${PROJECT_SOURCE_DIR}/host/standalone/ProxySettings.cpp")
oidcauth_own_code(oidcauth_test_host)
target_compile_definitions(oidcauth_test_host PRIVATE OIDCAuthHost_EXPORTS)
# Also what is not marked.
target_link_options(oidcauth_test_host PRIVATE LINKER:--export-all-symbols)
target_link_libraries(oidcauth_test_host
    PUBLIC OIDCAuthHeaders cpprestsdk::cpprest
    PRIVATE OIDCAuthHost_CString OIDCAuthHost_CArchive OIDCAuthHost_CMemoryArchive
        OIDCAuthHost_CLogger OIDCAuthHost_CCryptoUtilities
        Boost::headers ZLIB::ZLIB OpenSSL::Crypto fmt::fmt spdlog::spdlog ws2_32)
# The library's own objects are in the program.
target_compile_definitions(oidcauth_tests PRIVATE OIDCAuth_EXPORTS)
target_link_libraries(oidcauth_tests PRIVATE oidcauth_test_host)
# Here what counts is that they are built soon.
target_compile_options(oidcauth_tests PRIVATE -O0)
