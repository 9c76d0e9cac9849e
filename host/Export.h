#pragma once

/// Marks the host services as exported. Windows needs one mark while they are built and another one
/// for their users. A static library (OIDCAUTH_HOST_STATIC) needs none.
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
