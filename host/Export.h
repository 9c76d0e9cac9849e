#pragma once

// Marks what a program outside this library may call. One line a system: Windows asks for
// dllexport while the library is built and dllimport afterwards.
#if defined(_WIN32)
#if defined(OIDCAuthHost_EXPORTS)
#define OIDCAUTH_HOST_API __declspec(dllexport)
#else
#define OIDCAUTH_HOST_API __declspec(dllimport)
#endif
#else
#define OIDCAUTH_HOST_API __attribute__((visibility("default")))
#endif
