#pragma once

#include "auth/IExclusivePermit.h"
#include "host/Export.h"

#include <filesystem>
#include <memory>

namespace standalone {

/// A permit that at most one lock holds at a time in all processes of this user: give it to the
/// helpers that share a token store, and the token is refreshed, or asked for, once.
///
/// Held through a lock on a file of its own, which is made with mode 0600 when it is missing, its
/// folder with 0700 (on Windows, with the store's access list), and which stays: who removes it
/// while it is used breaks the exclusion. (On Windows nobody can.) What FileTokenStore refuses is
/// refused here: links, other owners, files open to others. The system
/// gives the permit back when its holder dies, however it dies. Programs that the holder starts do
/// not get it.
///
/// `tryLock` of a lock throws TokenStoreError when the lock file cannot be had.
class OIDCAUTH_HOST_API FilePermit final : public auth::IExclusivePermit {
public:
    /// Makes no file yet. A relative path is taken from the current folder of now. Throws
    /// TokenStoreError when it is not the path of a file.
    static std::shared_ptr<FilePermit> make(const std::filesystem::path& lockFile);

    /// Needs the permit no longer.
    std::unique_ptr<auth::IPermitLock> createLock() override;

private:
    std::filesystem::path m_file;
};

/// The lock file that goes with a store's file: beside it, since the store's own file is replaced
/// with every write, and a lock on it would be lost.
OIDCAUTH_HOST_API std::filesystem::path lockFileOf(const std::filesystem::path& store);

}  // namespace standalone
