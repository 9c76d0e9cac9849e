#pragma once

/// Marks the public classes of the library as exported; everything else stays hidden in it. Windows
/// needs one mark while the library is built and another one for its users. A static library
/// (OIDCAUTH_STATIC) needs none.
#if defined(OIDCAUTH_STATIC)
#define OIDCAUTH_API
#elif defined(_WIN32)
#if defined(OIDCAuth_EXPORTS)
#define OIDCAUTH_API __declspec(dllexport)
#else
#define OIDCAUTH_API __declspec(dllimport)
#endif
#else
#define OIDCAUTH_API __attribute__((visibility("default")))
#endif
