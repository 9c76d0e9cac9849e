#pragma once

#include <windows.h>

#include <mutex>
#include <streambuf>
#include <string>

namespace tool {

/// Writes UTF-8 to a handle unchanged, while the C runtime would replace line ends by CR LF. A
/// console gets characters, because its code page for bytes is another one. Any number of threads
/// may write.
class HandleBuffer final : public std::streambuf {
public:
    /// With a null handle all writing fails.
    explicit HandleBuffer(HANDLE handle);

protected:
    int_type overflow(int_type character) override;
    std::streamsize xsputn(const char* text, std::streamsize size) override;
    /// On failure errno has the reason.
    int sync() override;

private:
    bool append(const char* text, std::size_t size);
    bool send();
    bool sendBytes();
    bool sendToConsole();

    const HANDLE m_handle;
    const bool m_isConsole;
    std::mutex m_mutex;  // guards the rest
    std::string m_text;
};

}  // namespace tool
