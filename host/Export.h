#pragma once

/// Marks the host services. Windows asks for one mark while they are built and for another one
/// afterwards; in a static library (OIDCAUTH_HOST_STATIC) there is nothing to mark.
#if defined(OIDCAUTH_HOST_STATIC)
#define OIDCAUTH_HOST_API
#elif defined(_WIN32)
#if defined(OIDCAuthHost_EXPORTS)
#define OIDCAUTH_HOST_API __declspec(dllexport)
#else
#define OIDCAUTH_HOST_API __declspec(dllimport)
#endif
#else
#define OIDCAUTH_HOST_API __attribute__((visibility("default")))
#endif
