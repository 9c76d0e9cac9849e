// The header declares C_ASSERT only where nobody has, and winnt.h has: as a declaration of a function,
// which a class would take for a member each time.
#pragma once
#include <cassert>  // which it would include inside a namespace

#pragma push_macro("C_ASSERT")
#undef C_ASSERT
#define C_ASSERT(condition) static_assert(condition, #condition)
#include_next <cpprest/details/SafeInt3.hpp>
#pragma pop_macro("C_ASSERT")
