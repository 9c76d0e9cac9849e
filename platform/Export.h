#pragma once

/// Marks the public classes of the library; everything else stays hidden in it. Windows asks for
/// one mark while the library is built and for another one afterwards; in a static library
/// (OIDCAUTH_STATIC) there is nothing to mark.
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
