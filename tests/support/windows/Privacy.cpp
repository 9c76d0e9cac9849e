#include "tests/support/Privacy.h"

#include <aclapi.h>
#include <sddl.h>
#include <windows.h>

namespace fs = std::filesystem;

namespace {

void setList(const fs::path& path, const wchar_t* text) {
    void* descriptor = nullptr;
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    ACL* list = nullptr;
    if (::ConvertStringSecurityDescriptorToSecurityDescriptorW(text, SDDL_REVISION_1, &descriptor,
                                                               nullptr) == 0 ||
        ::GetSecurityDescriptorDacl(descriptor, &present, &list, &defaulted) == 0 ||
        ::SetNamedSecurityInfoW(const_cast<wchar_t*>(path.c_str()), SE_FILE_OBJECT,
                                DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION,
                                nullptr, nullptr, list, nullptr) != ERROR_SUCCESS) {
        throw std::runtime_error("no access list for " + path.string());
    }
    ::LocalFree(descriptor);
}

}  // namespace

void test::openToOthers(const fs::path& path) {
    setList(path, L"D:P(A;OICI;FA;;;OW)(A;OICI;FA;;;SY)(A;;FR;;;WD)");
}

void test::closeToOthers(const fs::path& path) {
    setList(path, L"D:P(A;OICI;FA;;;OW)(A;OICI;FA;;;SY)");
}

/// By name: whoever else is listed, everybody is not.
bool test::isClosedToOthers(const fs::path& path) {
    void* descriptor = nullptr;
    wchar_t* text = nullptr;
    if (::GetNamedSecurityInfoW(path.c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                                nullptr, nullptr, nullptr, &descriptor) != ERROR_SUCCESS ||
        ::ConvertSecurityDescriptorToStringSecurityDescriptorW(
            descriptor, SDDL_REVISION_1, DACL_SECURITY_INFORMATION, &text, nullptr) == 0) {
        throw std::runtime_error("no access list of " + path.string());
    }
    const std::wstring list(text);
    ::LocalFree(text);
    ::LocalFree(descriptor);
    return list.find(L";WD)") == std::wstring::npos && list.find(L";BU)") == std::wstring::npos &&
           list.find(L"(A;") != std::wstring::npos;
}
