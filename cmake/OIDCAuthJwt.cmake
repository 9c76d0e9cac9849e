# The target oidcauth_jwt for <jwt-cpp/jwt.h>: an installed jwt-cpp if it can make public keys from RSA
# components (0.7.1), otherwise this project's own.

add_library(oidcauth_jwt INTERFACE)
target_link_libraries(oidcauth_jwt INTERFACE OpenSSL::Crypto)

# jwt-cpp's package only accepts its exact version, so no minimum can be required.
find_package(jwt-cpp CONFIG QUIET)
if(TARGET jwt-cpp::jwt-cpp AND jwt-cpp_VERSION VERSION_GREATER_EQUAL 0.7.1)
    message(STATUS "JWT: jwt-cpp ${jwt-cpp_VERSION} of ${jwt-cpp_DIR}")
    target_link_libraries(oidcauth_jwt INTERFACE jwt-cpp::jwt-cpp)
    return()
endif()

find_path(OIDCAUTH_JWT_INCLUDE_DIR jwt-cpp/jwt.h)
mark_as_advanced(OIDCAUTH_JWT_INCLUDE_DIR)
if(OIDCAUTH_JWT_INCLUDE_DIR)
    # The header does not contain its version.
    include(CheckCXXSourceCompiles)
    set(CMAKE_REQUIRED_INCLUDES "${OIDCAUTH_JWT_INCLUDE_DIR}")
    set(CMAKE_REQUIRED_LIBRARIES OpenSSL::SSL OpenSSL::Crypto)
    check_cxx_source_compiles("
        #include <jwt-cpp/jwt.h>
        int main() {
            jwt::helper::create_public_key_from_rsa_components(std::string(), std::string());
        }"
        OIDCAUTH_JWT_HEADER_SUFFICES)
    unset(CMAKE_REQUIRED_INCLUDES)
    unset(CMAKE_REQUIRED_LIBRARIES)
endif()
if(OIDCAUTH_JWT_INCLUDE_DIR AND OIDCAUTH_JWT_HEADER_SUFFICES)
    message(STATUS "JWT: jwt-cpp of ${OIDCAUTH_JWT_INCLUDE_DIR}")
    target_include_directories(oidcauth_jwt SYSTEM INTERFACE "${OIDCAUTH_JWT_INCLUDE_DIR}")
    target_link_libraries(oidcauth_jwt INTERFACE OpenSSL::SSL)
    return()
endif()

message(STATUS "JWT: this project's own header, because jwt-cpp 0.7.1 or newer is not installed")
find_path(PICOJSON_INCLUDE_DIR picojson.h REQUIRED)
mark_as_advanced(PICOJSON_INCLUDE_DIR)
target_include_directories(oidcauth_jwt INTERFACE "${PROJECT_SOURCE_DIR}/compat")
target_include_directories(oidcauth_jwt SYSTEM INTERFACE "${PICOJSON_INCLUDE_DIR}")
# For tests of input that jwt-cpp itself does not survive.
target_compile_definitions(oidcauth_jwt INTERFACE OIDCAUTH_OWN_JWT)
