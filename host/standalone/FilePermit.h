#pragma once

#include "auth/IExclusivePermit.h"
#include "host/Export.h"

#include <filesystem>
#include <memory>

namespace standalone {

/// A permit for all processes of this user: at most one lock in all of them holds it at a time.
///
/// Give it to the helpers that share a token store; the token is then refreshed, or the user asked,
/// only once.
///
/// The permit is a lock on a file of its own. If the file is missing, it is made with mode 0600 and
/// its folder with 0700; on Windows, with the access list of the store. The file stays. Removing it
/// while it is in use breaks the exclusion; Windows prevents that. As FileTokenStore does, the
/// permit refuses links, other owners and files that are open to others. The system gives the
/// permit back when the process that holds it ends, however it ends. Programs that the holder
/// starts do not inherit the permit.
///
/// tryLock() of its locks throws TokenStoreError if the lock file is refused, or cannot be opened
/// or locked.
///
/// \ingroup stores
class OIDCAUTH_HOST_API FilePermit final : public auth::IExclusivePermit {
public:
    /// A permit that uses `lockFile`. This call does not create the file; the first tryLock() does,
    /// if it is missing. A relative path is resolved at once, against the current folder. Throws
    /// TokenStoreError if it is not the path of a file.
    static std::shared_ptr<FilePermit> make(const std::filesystem::path& lockFile);

    /// A new lock, which does not hold the permit yet. The lock stays usable after the permit is
    /// destroyed.
    std::unique_ptr<auth::IPermitLock> createLock() override;

private:
    std::filesystem::path m_file;
};

/// The lock file for a store's file: the same path with ".lock" appended. A lock on the store's
/// file itself would be lost, because every write replaces that file.
///
/// \ingroup stores
OIDCAUTH_HOST_API std::filesystem::path lockFileOf(const std::filesystem::path& store);

}  // namespace standalone
