// A program with its own host: logger, settings and the format of a stored token are the
// application's. It gets a service's token twice; the second time from the store.
//
//   DEMO_SERVICE_SECRET=... own_host CONFIGURATION-URL

#include "auth/COIDCHelper.h"

#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <mutex>

namespace {

using Bytes = std::vector<std::uint8_t>;
using LoggingUtilities::CLogger;

/// The record that the application keeps in its own database.
struct Record {
    std::mutex mutex;
    Bytes bytes;
    int writes = 0;
};

class Store final : public ISecretStore<auth::COIDCToken> {
public:
    explicit Store(std::shared_ptr<Record> record) : m_record(std::move(record)) {}

    void clear() override { write({}); }
    void read(Bytes& bytes, bool /*reread*/) override {
        const std::lock_guard lock(m_record->mutex);
        bytes = m_record->bytes;
    }
    void write(const Bytes& bytes) override {
        const std::lock_guard lock(m_record->mutex);
        m_record->bytes = bytes;
        ++m_record->writes;
    }

private:
    std::shared_ptr<Record> m_record;
};

}  // namespace

int main(int argc, char** argv) {
    const char* const secret = std::getenv("DEMO_SERVICE_SECRET");
    if (argc != 2 || secret == nullptr) {
        std::cerr << "usage: DEMO_SERVICE_SECRET=... own_host CONFIGURATION-URL\n";
        return 2;
    }
    try {
        const auto record = std::make_shared<Record>();
        auth::COIDCHelper helper(std::make_unique<Store>(record),
                                 auth::COIDCHelper::makeExclusivePermit(),
                                 std::make_shared<CLogger>("own_host"));
        const auto ask = [&] {
            return helper.getAccessTokenClientCredentials(argv[1], "demo-service", secret,
                                                          "api:read", 5);
        };
        const CString token = ask();
        if (ask() != token || record->writes != 1) {
            std::cerr << "the second token did not come from the store\n";
            return 1;
        }
        std::cout << token << '\n';
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "no token: " << error.what() << '\n';
        return 1;
    }
}
