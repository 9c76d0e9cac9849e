# Fits the build of the HTTP library for mingw-w64, without a patch: to be included by its project()
# (CMAKE_PROJECT_cpprestsdk_INCLUDE). Its own files do the rest as they are.

set(shims "${CMAKE_CURRENT_LIST_DIR}/shims/")
function(fit_cpprest)
    # Of no use here, and these would not compile or link: files as streams, and the server.
    get_target_property(sources cpprest SOURCES)
    list(FILTER sources EXCLUDE REGEX "fileio_win32|http_listener|http_server_api")
    set_property(TARGET cpprest PROPERTY SOURCES ${sources})
    # The name of the library in lower case, as mingw-w64 has it.
    get_target_property(libraries cpprest LINK_LIBRARIES)
    list(TRANSFORM libraries REPLACE "^Winhttp.lib$" "winhttp")
    set_property(TARGET cpprest PROPERTY LINK_LIBRARIES ${libraries})
    # Without dllexport the linker exports everything, and without dllimport it imports what it finds.
    # With them, vague linkage (inline functions, templates) differs from Microsoft's.
    target_compile_definitions(cpprest PUBLIC _NO_ASYNCRTIMP _NO_PPLXIMP)
    # First, since they include the headers that they stand for.
    target_include_directories(cpprest BEFORE PUBLIC
        "$<BUILD_INTERFACE:${shims}>" $<INSTALL_INTERFACE:include/mingw>)
    install(DIRECTORY "${shims}" DESTINATION include/mingw)
endfunction()
# When the project has defined its target.
cmake_language(EVAL CODE "cmake_language(DEFER CALL fit_cpprest)")
