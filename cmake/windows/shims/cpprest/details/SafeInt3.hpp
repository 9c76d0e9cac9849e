// The header defines C_ASSERT only if it is not defined yet. winnt.h defines it as the declaration of a
// function, which inside a class would be another member each time.
#pragma once
#include <cassert>  // which it would include inside a namespace

#pragma push_macro("C_ASSERT")
#undef C_ASSERT
#define C_ASSERT(condition) static_assert(condition, #condition)
#include_next <cpprest/details/SafeInt3.hpp>
#pragma pop_macro("C_ASSERT")
