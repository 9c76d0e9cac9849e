#include "host/standalone/detail/TemporaryFile.h"

#include "host/standalone/windows/AccessList.h"
#include "host/standalone/windows/Handle.h"

#include <bcrypt.h>
#include <windows.h>

#include <cstring>
#include <string>
#include <system_error>

namespace fs = std::filesystem;

namespace standalone::detail {

namespace {

fs::path newTemporaryName(const fs::path& file) {
    RandomBytes random{};
    const auto status = ::BCryptGenRandom(nullptr, random.data(), static_cast<ULONG>(random.size()),
                                          BCRYPT_USE_SYSTEM_PREFERRED_RNG);
    if (status < 0) {
        refuse(file, "no random name can be generated");
    }
    return temporaryName(file, random);
}

bool moveEnd(const Descriptor& opened, std::size_t to) {
    LARGE_INTEGER end{};
    end.QuadPart = static_cast<LONGLONG>(to);
    return ::SetFilePointerEx(handleOf(opened), end, nullptr, FILE_BEGIN) != 0 &&
           ::SetEndOfFile(handleOf(opened)) != 0;
}

/// The structure that tells the system the new name of an open file.
class NewName {
public:
    explicit NewName(const fs::path& name)
        : m_info(1 + name.native().size() * sizeof(wchar_t) / sizeof(FILE_RENAME_INFO) + 1) {
        FILE_RENAME_INFO& info = m_info.front();
        const auto size = name.native().size() * sizeof(wchar_t);
        info.Flags = FILE_RENAME_FLAG_REPLACE_IF_EXISTS | FILE_RENAME_FLAG_POSIX_SEMANTICS;
        info.FileNameLength = static_cast<DWORD>(size);
        std::memcpy(static_cast<wchar_t*>(info.FileName), name.c_str(), size);
    }

    /// Renames the file in the way of current file systems, where readers of the old file can go
    /// on; if that is not supported, in the old way.
    bool give(const Descriptor& opened) {
        // FileRenameInfoEx, which mingw-w64 declares only for versions that do not exist.
        constexpr auto posixRename = static_cast<FILE_INFO_BY_HANDLE_CLASS>(22);
        return give(opened, posixRename) || give(opened, FileRenameInfo);
    }

private:
    bool give(const Descriptor& opened, FILE_INFO_BY_HANDLE_CLASS how) {
        return ::SetFileInformationByHandle(
                   handleOf(opened), how, m_info.data(),
                   static_cast<DWORD>(m_info.size() * sizeof(FILE_RENAME_INFO))) != 0;
    }

    std::vector<FILE_RENAME_INFO> m_info;
};

}  // namespace

TemporaryFile::TemporaryFile(Descriptor folder, fs::path file)
    : m_folder(std::move(folder)), m_file(std::move(file)), m_name(newTemporaryName(m_file)) {
    PrivateSecurity security(m_file);
    // Not shared for removal, so nobody else can remove it while it is open. Written through, so
    // that the renaming is on the disk, too.
    m_descriptor = descriptorOf(::CreateFileW(
        (m_file.parent_path() / m_name).c_str(), GENERIC_WRITE | DELETE, FILE_SHARE_READ,
        security.get(), CREATE_NEW, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_WRITE_THROUGH, nullptr));
    if (!m_descriptor) {
        failSystem(m_file, "no temporary file can be created beside it");
    }
}

TemporaryFile::~TemporaryFile() {
    if (!m_name.empty()) {
        FILE_DISPOSITION_INFO removed{TRUE};
        ::SetFileInformationByHandle(handleOf(m_descriptor), FileDispositionInfo, &removed,
                                     sizeof(removed));
    }
}

void TemporaryFile::reserve(std::size_t size) {
    if (!moveEnd(m_descriptor, size)) {
        failSystem(m_file, "cannot be written");
    }
}

void TemporaryFile::write(const std::vector<std::uint8_t>& bytes) {
    // The rest of a reservation does not belong to the record.
    DWORD count = 0;
    if (::SetFilePointerEx(handleOf(m_descriptor), {}, nullptr, FILE_BEGIN) == 0 ||
        ::WriteFile(handleOf(m_descriptor), bytes.data(), static_cast<DWORD>(bytes.size()), &count,
                    nullptr) == 0 ||
        !moveEnd(m_descriptor, bytes.size())) {
        failSystem(m_file, "cannot be written");
    }
    if (count != bytes.size()) {
        failSystem(m_file, "cannot be written", ERROR_DISK_FULL);
    }
    if (::FlushFileBuffers(handleOf(m_descriptor)) == 0) {
        failSystem(m_file, "cannot be flushed to disk");
    }
}

void TemporaryFile::replaceRecord() {
    NewName name(m_file);
    // Access is also denied while somebody has the old file open.
    const auto isPassing = [](DWORD error) {
        return isInUse(error) || error == ERROR_ACCESS_DENIED;
    };
    if (!patiently([&] { return name.give(m_descriptor); }, isPassing)) {
        failSystem(m_file, "cannot be replaced");
    }
    m_name.clear();
    m_descriptor = Descriptor();
}

void removeAbandoned(const Descriptor& /*folder*/, const fs::path& file) {
    std::error_code error;
    fs::directory_iterator entry(file.parent_path(), error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        if (isTemporaryName(entry->path().filename(), file)) {
            ::DeleteFileW(entry->path().c_str());
        }
    }
}

}  // namespace standalone::detail
