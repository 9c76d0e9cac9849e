# Additional tests for Linux.
oidcauth_test_piece(helper linux/ProcessTest.cpp)
target_sources(oidcauth_tests PRIVATE linux/RedirectServerTest.cpp)  # its names fit into no piece
oidcauth_test_piece(provider
    linux/BrowserTest.cpp
    linux/HttpExchangeTest.cpp
    support/TestHost.cpp
    support/linux/HttpClient.cpp
    support/linux/Trust.cpp
    support/linux/Usage.cpp)
# Tests control the results of these system calls.
target_link_options(oidcauth_tests PRIVATE -Wl,--wrap=accept4 -Wl,--wrap=getaddrinfo
    -Wl,--wrap=_ZNSt6chrono3_V212steady_clock3nowEv)
