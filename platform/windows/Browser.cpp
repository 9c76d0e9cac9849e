#include "platform/Browser.h"

#include <boost/algorithm/string/predicate.hpp>
#include <objbase.h>
#include <shellapi.h>
#include <windows.h>

namespace platform {

namespace {

bool isWebUrl(const utility::string_t& url) {
    const auto hasScheme = [&](const wchar_t* scheme) {
        return boost::algorithm::istarts_with(url, scheme) &&
               !boost::algorithm::iequals(url, scheme);
    };
    // The shell would read up to a zero byte, so the browser would get another URL.
    return (hasScheme(L"http:") || hasScheme(L"https:")) &&
           url.find(L'\0') == utility::string_t::npos;
}

/// For some URLs the shell uses extensions that are COM objects.
class Apartment {
public:
    Apartment()
        : m_entered(SUCCEEDED(
              ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE))) {}
    ~Apartment() {
        if (m_entered) {
            ::CoUninitialize();
        }
    }
    Apartment(const Apartment&) = delete;
    Apartment& operator=(const Apartment&) = delete;

private:
    const bool m_entered;  // if not, the thread is in the other kind of apartment, which will do
};

}  // namespace

bool openBrowser(const utility::string_t& url) noexcept {
    constexpr INT_PTR lastFailure = 32;
    try {
        if (!isWebUrl(url)) {
            return false;
        }
        const Apartment apartment;
        const HINSTANCE outcome =
            ::ShellExecuteW(nullptr, L"open", url.c_str(), nullptr, nullptr, SW_SHOWNORMAL);
        return reinterpret_cast<INT_PTR>(outcome) > lastFailure;
    } catch (...) {
        return false;
    }
}

}  // namespace platform
