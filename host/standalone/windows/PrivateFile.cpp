#include "host/standalone/detail/PrivateFile.h"

#include "host/standalone/windows/AccessList.h"
#include "host/standalone/windows/Handle.h"

#include <windows.h>

#include <algorithm>
#include <limits>

namespace fs = std::filesystem;

namespace standalone::detail {
namespace {

/// If `path` is a link, it is not followed; if it is a pipe, its other end cannot act as this user.
constexpr DWORD careful = FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS |
                          SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION;
constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

Descriptor open(const fs::path& path, DWORD access, DWORD share, DWORD disposition = OPEN_EXISTING,
                SECURITY_ATTRIBUTES* security = nullptr) {
    Descriptor opened;
    patiently(
        [&] {
            opened = descriptorOf(::CreateFileW(path.c_str(), access, share, security, disposition,
                                                careful | FILE_ATTRIBUTE_NORMAL, nullptr));
            return static_cast<bool>(opened);
        },
        isInUse);
    return opened;
}

std::uint64_t whole(DWORD high, DWORD low) {
    return std::uint64_t{high} << 32U | low;
}

/// The system counts units of 100 ns from 1601.
std::chrono::nanoseconds sinceEpoch(std::uint64_t time) {
    using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;
    constexpr std::int64_t year1970 = 116'444'736'000'000'000;
    return Ticks(static_cast<std::int64_t>(time) - year1970);
}

bool examine(const Descriptor& opened, BY_HANDLE_FILE_INFORMATION& found, FileState& state) {
    FILE_BASIC_INFO times{};
    // Only the second call returns the change time, which also covers the access list.
    if (::GetFileInformationByHandle(handleOf(opened), &found) == 0 ||
        ::GetFileInformationByHandleEx(handleOf(opened), FileBasicInfo, &times, sizeof(times)) ==
            0) {
        return false;
    }
    state = {found.dwVolumeSerialNumber, whole(found.nFileIndexHigh, found.nFileIndexLow),
             whole(found.nFileSizeHigh, found.nFileSizeLow),
             sinceEpoch(static_cast<std::uint64_t>(times.LastWriteTime.QuadPart)),
             sinceEpoch(static_cast<std::uint64_t>(times.ChangeTime.QuadPart))};
    return true;
}

bool isMissing(DWORD error) {
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

}  // namespace

void Descriptor::close(Value value) noexcept {
    ::CloseHandle(reinterpret_cast<HANDLE>(value));
}

bool look(const fs::path& file, std::optional<FileState>& state) {
    state.reset();
    const auto opened = open(file, FILE_READ_ATTRIBUTES, shareAll);
    if (!opened) {
        return ::GetLastError() == ERROR_FILE_NOT_FOUND;
    }
    BY_HANDLE_FILE_INFORMATION found{};
    return examine(opened, found, state.emplace());
}

Descriptor openFolder(const fs::path& folder) {
    // With the right to list the folder, this handle's share mode keeps others from moving it.
    auto opened = open(folder, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE);
    if (!opened) {
        if (!isMissing(::GetLastError())) {
            failSystem(folder, "cannot be opened");
        }
        return opened;
    }
    BY_HANDLE_FILE_INFORMATION found{};
    if (::GetFileInformationByHandle(handleOf(opened), &found) == 0) {
        failSystem(folder, "cannot be examined");
    }
    if ((found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 ||
        (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
        refuse(folder, "is a symbolic link or no folder; use the path of a real folder");
    }
    requirePrivate(opened, folder);
    return opened;
}

void makeFolder(const fs::path& folder) {
    PrivateSecurity security(folder);
    if (::CreateDirectoryW(folder.c_str(), security.get()) == 0 &&
        ::GetLastError() != ERROR_ALREADY_EXISTS) {
        failSystem(folder, "the folder cannot be created");
    }
}

PrivateFile openFile(const Descriptor& /*folder*/, const fs::path& file, Opening opening) {
    // The folder cannot be moved while it is open.
    PrivateFile opened;
    std::optional<PrivateSecurity> security;  // lives until the error has been read
    if (opening == Opening::made) {
        opened.descriptor =
            open(file, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                 OPEN_ALWAYS, security.emplace(file).get());
    } else {
        opened.descriptor = open(file, GENERIC_READ, shareAll);
    }
    if (!opened.descriptor) {
        if (opening == Opening::present && isMissing(::GetLastError())) {
            return opened;
        }
        failSystem(file, "cannot be opened");
    }
    BY_HANDLE_FILE_INFORMATION found{};
    if (::GetFileType(handleOf(opened.descriptor)) != FILE_TYPE_DISK) {
        refuse(file, "is not a regular file; remove it or use another path");
    }
    if (!examine(opened.descriptor, found, opened.state)) {
        failSystem(file, "cannot be examined");
    }
    if ((found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        refuse(file, "is a symbolic link; remove it or use the path of a real file");
    }
    requirePrivate(opened.descriptor, file);
    if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        refuse(file, "is not a regular file; remove it or use another path");
    }
    return opened;
}

std::size_t readSome(const Descriptor& opened, const fs::path& file, std::uint8_t* bytes,
                     std::size_t most) {
    const auto asked = std::min<std::size_t>(most, std::numeric_limits<DWORD>::max());
    DWORD count = 0;
    if (::ReadFile(handleOf(opened), bytes, static_cast<DWORD>(asked), &count, nullptr) == 0) {
        failSystem(file, "cannot be read");
    }
    return count;
}

void removeFile(const Descriptor& /*folder*/, const fs::path& file) {
    if (!patiently([&] { return ::DeleteFileW(file.c_str()) != 0; }, isInUse) &&
        !isMissing(::GetLastError())) {
        failSystem(file, "cannot be removed");
    }
}

}  // namespace standalone::detail
