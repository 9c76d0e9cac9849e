# Adapts the build of the HTTP library to mingw-w64 without a patch: include it in its project()
# (CMAKE_PROJECT_cpprestsdk_INCLUDE). Its own files are used unchanged.

set(shims "${CMAKE_CURRENT_LIST_DIR}/shims/")
function(fit_cpprest)
    # Not needed, and would not compile or link: streams on files, and the server.
    get_target_property(sources cpprest SOURCES)
    list(FILTER sources EXCLUDE REGEX "fileio_win32|http_listener|http_server_api")
    set_property(TARGET cpprest PROPERTY SOURCES ${sources})
    # mingw-w64 has the library's name in lower case.
    get_target_property(libraries cpprest LINK_LIBRARIES)
    list(TRANSFORM libraries REPLACE "^Winhttp.lib$" "winhttp")
    set_property(TARGET cpprest PROPERTY LINK_LIBRARIES ${libraries})
    # Without dllexport the linker exports everything, and without dllimport it imports whatever it finds.
    # With them, vague linkage (inline functions, templates) would differ from Microsoft's.
    target_compile_definitions(cpprest PUBLIC _NO_ASYNCRTIMP _NO_PPLXIMP)
    # First, because they include the headers that they replace.
    target_include_directories(cpprest BEFORE PUBLIC
        "$<BUILD_INTERFACE:${shims}>" $<INSTALL_INTERFACE:include/mingw>)
    install(DIRECTORY "${shims}" DESTINATION include/mingw)
endfunction()
# Runs after the project has defined its target.
cmake_language(EVAL CODE "cmake_language(DEFER CALL fit_cpprest)")
