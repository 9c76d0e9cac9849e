// A service that keeps its tokens in its own database, one row per account.
//
//   DEMO_SERVICE_SECRET=... own_store CONFIGURATION-URL DATABASE

#include "auth/COIDCHelper.h"
#include "auth/IStoreFailure.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <cstdlib>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

/// auth::OIDCError::of() recognises it as a failure of the store.
class DatabaseError final : public std::runtime_error, public auth::IStoreFailure {
public:
    using std::runtime_error::runtime_error;
};

/// Can be used by any thread: SQLite runs the calls one after the other.
class Database {
public:
    explicit Database(const char* file) {
        sqlite3* opened = nullptr;
        const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX;
        const int result = sqlite3_open_v2(file, &opened, flags, nullptr);
        m_handle.reset(opened);  // SQLite sets it even after a failure
        check(result == SQLITE_OK);
        sqlite3_busy_timeout(opened, 5000);  // ms to wait while another process writes
        run("PRAGMA secure_delete = ON");    // so that an old token does not remain in a free page
        run("CREATE TABLE IF NOT EXISTS tokens (account TEXT PRIMARY KEY, record BLOB NOT NULL)");
    }

    /// Binds `account` and `record` to the first two `?` of the statement, if it has them. Returns
    /// the first column of the first row, or no bytes if there is no row.
    Bytes run(const char* sql, const std::string& account = {}, const Bytes& record = {}) const {
        sqlite3_stmt* prepared = nullptr;
        check(sqlite3_prepare_v2(m_handle.get(), sql, -1, &prepared, nullptr) == SQLITE_OK);
        const std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> owner(prepared,
                                                                          sqlite3_finalize);
        sqlite3_bind_text(prepared, 1, account.data(), static_cast<int>(account.size()), nullptr);
        sqlite3_bind_blob(prepared, 2, record.data(), static_cast<int>(record.size()), nullptr);
        const int result = sqlite3_step(prepared);
        check(result == SQLITE_ROW || result == SQLITE_DONE);
        if (result == SQLITE_DONE) {
            return {};
        }
        const auto* const bytes =
            static_cast<const std::uint8_t*>(sqlite3_column_blob(prepared, 0));
        return {bytes, bytes + sqlite3_column_bytes(prepared, 0)};
    }

private:
    void check(bool isDone) const {
        if (!isDone) {
            throw DatabaseError(sqlite3_errmsg(m_handle.get()));
        }
    }

    std::unique_ptr<sqlite3, int (*)(sqlite3*)> m_handle{nullptr, sqlite3_close};
};

class Store final : public ISecretStore<auth::COIDCToken> {
public:
    Store(std::shared_ptr<const Database> database, std::string account)
        : m_database(std::move(database)), m_account(std::move(account)) {}

    void clear() override { m_database->run("DELETE FROM tokens WHERE account = ?", m_account); }
    /// Caches nothing, so that every call reads the database.
    void read(Bytes& bytes, bool /*reread*/) override {
        bytes.clear();  // also if reading fails
        bytes = m_database->run("SELECT record FROM tokens WHERE account = ?", m_account);
    }
    void write(const Bytes& bytes) override {
        if (bytes.empty()) {
            return clear();  // a sign-out
        }
        m_database->run("REPLACE INTO tokens VALUES (?, ?)", m_account, bytes);
    }

private:
    std::shared_ptr<const Database> m_database;
    std::string m_account;
};

}  // namespace

int main(int argc, char** argv) {
    const char* const secret = std::getenv("DEMO_SERVICE_SECRET");
    if (argc != 3 || secret == nullptr) {
        std::cerr << "usage: DEMO_SERVICE_SECRET=... own_store CONFIGURATION-URL DATABASE\n";
        return 2;
    }
    try {
        umask(S_IRWXG | S_IRWXO);  // so that nobody else can read a new database
        const std::string account = argv[1] + std::string(" demo-service");
        auth::COIDCHelper helper(
            std::make_unique<Store>(std::make_shared<Database>(argv[2]), account),
            auth::COIDCHelper::makeExclusivePermit(), nullptr);
        std::cout << helper.getAccessTokenClientCredentials(argv[1], "demo-service", secret,
                                                            "api:read api:write", 5)
                  << '\n';
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "no token: " << error.what() << '\n';
        return 1;
    }
}
