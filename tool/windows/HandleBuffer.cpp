#include "tool/windows/HandleBuffer.h"

#include "tool/windows/Handle.h"
#include "tool/windows/Text.h"

#include <algorithm>
#include <cerrno>

namespace tool {

namespace {

constexpr std::size_t mostHeld = std::size_t{16} * 1024;

int reasonOf(DWORD error) {
    switch (error) {
        case ERROR_BROKEN_PIPE:
        case ERROR_NO_DATA:
            return EPIPE;
        case ERROR_DISK_FULL:
        case ERROR_HANDLE_DISK_FULL:
            return ENOSPC;
        case ERROR_INVALID_HANDLE:
        case ERROR_ACCESS_DENIED:
            return EBADF;
        default:
            return EIO;
    }
}

/// How many bytes at the end belong to an incomplete character.
std::size_t unfinished(const std::string& text) {
    constexpr std::size_t longest = 4;
    for (std::size_t count = 1; count <= std::min(longest, text.size()); ++count) {
        const auto byte = static_cast<unsigned char>(text[text.size() - count]);
        if (byte >= 0xC0U) {
            const std::size_t whole = byte >= 0xF0U ? 4 : byte >= 0xE0U ? 3 : 2;
            return count < whole ? count : 0;
        }
        if (byte < 0x80U) {
            return 0;
        }
    }
    return 0;
}

}  // namespace

HandleBuffer::HandleBuffer(HANDLE handle) : m_handle(handle), m_isConsole(isConsole(handle)) {}

HandleBuffer::int_type HandleBuffer::overflow(int_type character) {
    const char byte = traits_type::to_char_type(character);
    const bool isEnd = traits_type::eq_int_type(character, traits_type::eof());
    return isEnd || append(&byte, 1) ? traits_type::not_eof(character) : traits_type::eof();
}

std::streamsize HandleBuffer::xsputn(const char* text, std::streamsize size) {
    return append(text, static_cast<std::size_t>(size)) ? size : 0;
}

int HandleBuffer::sync() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return send() ? 0 : -1;
}

bool HandleBuffer::append(const char* text, std::size_t size) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_text.append(text, size);
    return m_text.size() < mostHeld || send();
}

/// If the bytes cannot be written, they are dropped, as nobody could do anything with them.
bool HandleBuffer::send() {
    const bool isSent = m_isConsole ? sendToConsole() : sendBytes();
    if (!isSent) {
        errno = reasonOf(::GetLastError());
        m_text.clear();
    }
    return isSent;
}

bool HandleBuffer::sendBytes() {
    while (!m_text.empty()) {
        DWORD written = 0;
        const auto size = static_cast<DWORD>(m_text.size());
        if (::WriteFile(m_handle, m_text.data(), size, &written, nullptr) == 0) {
            return false;
        }
        m_text.erase(0, written);
    }
    return true;
}

bool HandleBuffer::sendToConsole() {
    const std::string rest = m_text.substr(m_text.size() - unfinished(m_text));
    const std::wstring characters =
        wide(std::string_view(m_text).substr(0, m_text.size() - rest.size()));
    DWORD written = 0;
    for (std::size_t sent = 0; sent < characters.size(); sent += written) {
        const auto count = std::min(characters.size() - sent, mostHeld);
        if (::WriteConsoleW(m_handle, characters.data() + sent, static_cast<DWORD>(count), &written,
                            nullptr) == 0) {
            return false;
        }
    }
    m_text = rest;
    return true;
}

}  // namespace tool
