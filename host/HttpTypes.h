#pragma once

// The basic types of the HTTP library without its macro U, which clashes with many other headers.
// Our headers include this one before they include one of the HTTP library. A program that uses U
// includes a header of the HTTP library before ours.

#if defined(_TURN_OFF_PLATFORM_STRING)
#include <cpprest/details/basic_types.h>
#else
#define _TURN_OFF_PLATFORM_STRING  // NOLINT(bugprone-reserved-identifier): the HTTP library's name
#include <cpprest/details/basic_types.h>
#undef _TURN_OFF_PLATFORM_STRING
#endif
