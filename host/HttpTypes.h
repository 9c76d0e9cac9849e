#pragma once

// The basic types of the HTTP library without its macro U, with which many headers of others do not
// go together. A header of ours that includes one of that library includes this one before. A
// program that uses U includes a header of the HTTP library before those of ours.

#if defined(_TURN_OFF_PLATFORM_STRING)
#include <cpprest/details/basic_types.h>
#else
#define _TURN_OFF_PLATFORM_STRING  // NOLINT(bugprone-reserved-identifier): the HTTP library's name
#include <cpprest/details/basic_types.h>
#undef _TURN_OFF_PLATFORM_STRING
#endif
