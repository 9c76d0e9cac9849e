#pragma once

#include "platform/SharedLibrary.h"

/// Marks the public classes of the library; everything else stays hidden in it.
#if defined(OIDCAuth_EXPORTS)
#define OIDCAUTH_API OIDCAUTH_SHARED_EXPORT
#else
#define OIDCAUTH_API OIDCAUTH_SHARED_IMPORT
#endif
