#pragma once

// How a system marks what a shared library shows: Windows asks for one mark while the library is
// built and another one afterwards.
#if defined(_WIN32)
#define OIDCAUTH_SHARED_EXPORT __declspec(dllexport)
#define OIDCAUTH_SHARED_IMPORT __declspec(dllimport)
#else
#define OIDCAUTH_SHARED_EXPORT __attribute__((visibility("default")))
#define OIDCAUTH_SHARED_IMPORT __attribute__((visibility("default")))
#endif
