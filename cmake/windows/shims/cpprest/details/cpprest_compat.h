// Definitions that the HTTP library's Windows sources expect from Microsoft's compiler. All of them
// include this header first.
#pragma once
#include <crtdbg.h>  // _ASSERTE
#include <share.h>   // _SH_DENYRW

#include <cstdlib>
#include <cwchar>
#include <string>

// The library only believes that compiler to support noexcept and constexpr.
#define _MSC_VER 1900
#include_next <cpprest/details/cpprest_compat.h>
#undef _MSC_VER

// The alternative would be that compiler's own functions on volatile variables.
#define _USE_REAL_ATOMICS
#define _ReturnAddress() __builtin_return_address(0)
#define __assume(condition) ((condition) ? void() : __builtin_unreachable())
// Structured exceptions: here nothing throws one. The formatter knows the keyword and would
// separate it from its argument.
// clang-format off
#define __except(filter) catch (int)
// clang-format on
// wininet.h has it, which excludes winhttp.h.
#ifndef WININET_E_INCORRECT_HANDLE_STATE
#define WININET_E_INCORRECT_HANDLE_STATE _HRESULT_TYPEDEF_(0x80072EF3L)
#endif
// msvcrt.dll only has the narrow function. It is used for numbers in JSON, which are ASCII.
inline double shim_wcstod_l(const wchar_t* text, wchar_t** /*end*/, _locale_t locale) {
    return _strtod_l(std::string(text, text + std::wcslen(text)).c_str(), nullptr, locale);
}
#define _wcstod_l shim_wcstod_l
