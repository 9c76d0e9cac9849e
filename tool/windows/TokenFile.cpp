#include "tool/TokenFile.h"

#include "tool/ExitCode.h"
#include "tool/windows/AccessList.h"
#include "tool/windows/Handle.h"

#include <chrono>
#include <random>
#include <string_view>
#include <system_error>
#include <thread>

namespace fs = std::filesystem;

namespace tool {

namespace {

using std::chrono::steady_clock;

[[noreturn]] void fail(const fs::path& path, const char* what, DWORD error = ::GetLastError()) {
    failSystem((path.u8string() + ": " + what).c_str(), error);
}

/// An existing file will be replaced, so it must not be a device or a link, for example.
void requireReplaceable(const fs::path& file) {
    constexpr DWORD others =
        FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DEVICE;
    const DWORD attributes = ::GetFileAttributesW(file.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & others) != 0) {
        throw UsageError(file.u8string() + " is not a regular file");
    }
}

/// The file is open elsewhere: a reader has the file itself open, or a writer the new one.
bool isInUse(DWORD error) {
    return error == ERROR_SHARING_VIOLATION || error == ERROR_ACCESS_DENIED ||
           error == ERROR_FILE_EXISTS || error == ERROR_FILE_NOT_FOUND;
}

/// Without access lists, as on many memory sticks, everybody can read each file.
void requireAccessLists(const Handle& handle, const fs::path& path) {
    DWORD features = 0;
    if (::GetVolumeInformationByHandleW(handle.get(), nullptr, 0, nullptr, nullptr, &features,
                                        nullptr, 0) != 0 &&
        (features & FILE_PERSISTENT_ACLS) == 0) {
        fail(path, "this file system has no access lists", ERROR_NOT_SUPPORTED);
    }
}

void writeAll(const Handle& handle, std::string_view text, const fs::path& path) {
    while (!text.empty()) {
        DWORD written = 0;
        if (::WriteFile(handle.get(), text.data(), static_cast<DWORD>(text.size()), &written,
                        nullptr) == 0) {
            fail(path, "cannot be written");
        }
        text.remove_prefix(written);
    }
}

/// The temporary file beside the token file. It always has the same name, so that killed writers
/// leave at most one. It is opened without sharing: that is how writers take turns.
class Successor {
public:
    explicit Successor(const fs::path& file)
        : m_file(file),
          m_path(file.parent_path() / fs::u8path("." + file.filename().u8string() + ".oidcauth")) {}

    /// Writes the file and moves it to its destination. Returns no error, or one of isInUse().
    DWORD replace(const std::string& text) {
        // Created anew: an old one, whoever left it, may be open to others.
        ::DeleteFileW(m_path.c_str());
        Handle handle(::CreateFileW(m_path.c_str(), GENERIC_WRITE, 0, m_access.get(), CREATE_NEW,
                                    FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!handle) {
            return outcome("no temporary file can be created beside it");
        }
        requireAccessLists(handle, m_file);
        writeAll(handle, text, m_file);
        if (::FlushFileBuffers(handle.get()) == 0) {
            fail(m_file, "cannot be flushed to disk");
        }
        handle = Handle();
        // Another writer may now replace it by its own file and move that: each is complete.
        const bool isMoved = ::MoveFileExW(m_path.c_str(), m_file.c_str(),
                                           MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0;
        return isMoved ? ERROR_SUCCESS : outcome("cannot be replaced");
    }

    void remove() { ::DeleteFileW(m_path.c_str()); }

private:
    DWORD outcome(const char* what) const {
        const DWORD error = ::GetLastError();
        if (!isInUse(error)) {
            fail(m_file, what, error);
        }
        return error;
    }

    const fs::path& m_file;
    const fs::path m_path;
    UserOnly m_access;
};

/// A name that nobody else can expect.
fs::path temporaryName() {
    std::random_device random;
    std::uniform_int_distribution<unsigned int> letter(0, 'z' - 'a');
    std::string name = "oidcauth-";
    constexpr int length = 16;
    for (int i = 0; i < length; ++i) {
        name += static_cast<char>('a' + letter(random));
    }
    return fs::temp_directory_path() / name;
}

}  // namespace

TokenFile::TokenFile(const fs::path& file) : m_file(fs::absolute(file)) {
    if (!m_file.has_filename()) {
        throw UsageError(file.u8string() + " is not a regular file");
    }
    if (!fs::is_directory(m_file.parent_path())) {
        fail(m_file.parent_path(), "the folder cannot be opened", ERROR_PATH_NOT_FOUND);
    }
    requireReplaceable(m_file);
}

void TokenFile::replace(const std::string& text) const {
    requireReplaceable(m_file);
    // A file that a reader has open cannot be replaced, unless that reader allows it.
    constexpr std::chrono::seconds patience{5};
    constexpr std::chrono::milliseconds pause{5};
    const auto end = steady_clock::now() + patience;
    Successor successor(m_file);
    for (;;) {
        const DWORD error = successor.replace(text);
        if (error == ERROR_SUCCESS) {
            return;
        }
        if (steady_clock::now() >= end) {
            successor.remove();
            fail(m_file, "cannot be replaced", error);
        }
        std::this_thread::sleep_for(pause);
    }
}

PrivateFolder::PrivateFolder() : m_path(temporaryName()) {
    UserOnly access;
    if (::CreateDirectoryW(m_path.c_str(), access.get()) == 0) {
        fail(m_path, "cannot be created");
    }
}

PrivateFolder::~PrivateFolder() {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
}

}  // namespace tool
