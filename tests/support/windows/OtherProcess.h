#pragma once

#include "tests/support/Common.h"
#include "tests/support/Eventually.h"

#include <windows.h>

namespace test {

/// Runs a disabled test of this program in a separate process with the same file. The destructor
/// kills it.
class OtherProcess {
public:
    OtherProcess(const std::string& name, const std::filesystem::path& file) {
        std::array<wchar_t, 1024> self{};
        ::GetModuleFileNameW(nullptr, self.data(), static_cast<DWORD>(self.size()));
        ::SetEnvironmentVariableW(variable, file.c_str());
        std::wstring line = L"\"" + std::wstring(self.data()) +
                            L"\" --gtest_also_run_disabled_tests --gtest_filter=" +
                            std::wstring(name.begin(), name.end());
        STARTUPINFOW start{};
        start.cb = sizeof(start);
        if (::CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                             &start, &m_process) == 0) {
            throw std::system_error(static_cast<int>(::GetLastError()), std::system_category());
        }
    }
    ~OtherProcess() {
        ::TerminateProcess(m_process.hProcess, 1);
        end();
        ::CloseHandle(m_process.hThread);
        ::CloseHandle(m_process.hProcess);
    }
    OtherProcess(const OtherProcess&) = delete;
    OtherProcess& operator=(const OtherProcess&) = delete;

    void end() const { ::WaitForSingleObject(m_process.hProcess, INFINITE); }

    /// For the other process.
    static std::filesystem::path file() {
        std::array<wchar_t, 1024> text{};
        ::GetEnvironmentVariableW(variable, text.data(), static_cast<DWORD>(text.size()));
        return text.data();
    }

private:
    static constexpr auto* variable = L"OIDCAUTH_TEST_FILE";

    PROCESS_INFORMATION m_process{};
};

inline std::filesystem::path beside(std::filesystem::path file, const char* ending) {
    return file += ending;
}
inline void tell(const std::filesystem::path& file, const char* what) {
    std::ofstream(beside(file, what)) << what;
}
inline bool told(const std::filesystem::path& file, const char* what) {
    return eventually([&] { return std::filesystem::exists(beside(file, what)); });
}

}  // namespace test
