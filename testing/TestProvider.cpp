#include "testing/TestProvider.h"

#include "testing/detail/Answering.h"
#include "testing/detail/Certificates.h"
#include "testing/detail/HttpServer.h"
#include "testing/detail/Service.h"
#include "testing/detail/Text.h"

#include <array>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <set>
#include <utility>

namespace auth::testing {
namespace {

using detail::endpoints;
using detail::pathOf;
using detail::Settings;
using detail::TokenSettings;
using std::chrono::milliseconds;
using Lock = std::unique_lock<std::mutex>;

using TlsContext = boost::asio::ssl::context;

std::optional<TlsContext> tlsContext(const ProviderOptions& options,
                                     const std::filesystem::path& authorityFile) {
    if (!options.tls) {
        return std::nullopt;
    }
    TlsContext context(TlsContext::tls_server);
    const bool other = options.certificate == ServerCertificate::OtherHost;
    detail::installCertificate(context.native_handle(),
                               other ? "DNS:other.example" : "IP:127.0.0.1,DNS:localhost",
                               options.certificate == ServerCertificate::Expired, authorityFile);
    return context;
}

struct EndpointState {
    std::size_t received = 0;
    unsigned holds = 0;
    std::vector<std::pair<detail::Arrival, detail::Answer>> held;
};

}  // namespace

/// Shared by the threads of the tests and of the server.
struct TestProvider::State final : detail::ServerEvents {
    explicit State(const ProviderOptions& options)
        : issuerPath(options.issuerPath),
          directory(options.tls ? std::make_unique<detail::TemporaryDirectory>() : nullptr),
          authorityFile(directory ? directory->path() / "authority.pem" : ""),
          server(*this, tlsContext(options, authorityFile)),
          issuer((options.tls ? "https://127.0.0.1:" : "http://127.0.0.1:") +
                 std::to_string(server.port()) + issuerPath),
          service(issuer) {
        server.start();
    }
    ~State() override { server.stop(); }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    EndpointState& at(Endpoint endpoint) {
        return endpointStates.at(static_cast<std::size_t>(endpoint));
    }

    template <class Change>
    void change(Endpoint endpoint, Change apply) {
        const Lock lock(mutex);
        apply(service.settings(endpoint));
    }

    template <class Change>
    void changeTokens(TokenKind kind, Change apply) {
        change(detail::sourceOf(kind),
               [&](Settings& set) { apply(set.tokens.at(static_cast<std::size_t>(kind))); });
    }

    template <class Condition>
    bool wait(milliseconds limit, Condition condition) {
        Lock lock(mutex);
        return changed.wait_for(lock, limit, condition);
    }

    std::vector<RecordedRequest> requestsTo(std::optional<Endpoint> endpoint) {
        const Lock lock(mutex);
        std::vector<RecordedRequest> result;
        for (const auto& [receiver, request] : requests) {
            if (!endpoint || endpoint == receiver) {
                result.push_back(request);
            }
        }
        return result;
    }

    void opened(unsigned connection) override {
        const Lock lock(mutex);
        connections = connection;
        open.insert(connection);
    }

    void closed(unsigned connection) override {
        const Lock lock(mutex);
        open.erase(connection);
        changed.notify_all();
    }

    void received(detail::Arrival arrival, detail::Answer answer) override {
        const auto endpoint = endpointOf(arrival.request.target);
        Lock lock(mutex);
        requests.emplace_back(endpoint, arrival.request);
        if (endpoint) {
            ++at(*endpoint).received;
            changed.notify_all();
            if (at(*endpoint).holds > 0) {
                at(*endpoint).held.emplace_back(std::move(arrival), std::move(answer));
                return;
            }
        }
        auto reply = replyTo(arrival, endpoint);
        lock.unlock();
        answer(std::move(reply));
    }

    void release(Endpoint endpoint) {
        const Lock lock(mutex);
        if (--at(endpoint).holds > 0) {
            return;
        }
        // Answers may only be given on the server's thread.
        server.post([this, held = std::exchange(at(endpoint).held, {}), endpoint] {
            for (const auto& [arrival, answer] : held) {
                Lock relock(mutex);
                auto reply = replyTo(arrival, endpoint);
                relock.unlock();
                answer(std::move(reply));
            }
        });
    }

    std::optional<Endpoint> endpointOf(const std::string& target) const {
        for (const auto endpoint : endpoints) {
            if (target.substr(0, target.find('?')) == issuerPath + pathOf(endpoint)) {
                return endpoint;
            }
        }
        return std::nullopt;
    }

    detail::Reply replyTo(const detail::Arrival& arrival, std::optional<Endpoint> endpoint) {
        if (!arrival.wellFormed || !endpoint) {
            return detail::render({arrival.wellFormed ? 404U : 400U, {}, {}}, {},
                                  arrival.keepAlive);
        }
        auto& settings = service.settings(*endpoint);
        auto reply = detail::render(service.content(arrival.request, *endpoint), settings,
                                    arrival.keepAlive);
        if (settings.answersLeft && --*settings.answersLeft == 0) {
            settings = {};
        }
        return reply;
    }

    const std::string issuerPath;
    const std::unique_ptr<const detail::TemporaryDirectory> directory;
    const std::filesystem::path authorityFile;
    detail::HttpServer server;  // must outlive the held answers, which refer to its connections
    const std::string issuer;

    std::mutex mutex;  // guards everything below
    std::condition_variable changed;
    std::vector<std::pair<std::optional<Endpoint>, RecordedRequest>> requests;
    unsigned connections = 0;
    std::set<unsigned> open;
    std::array<EndpointState, endpoints.size()> endpointStates;
    detail::Service service;
};

TestProvider::TestProvider(const ProviderOptions& options)
    : m_state(std::make_shared<State>(options)) {}

// Not left to the state: a Hold that is being released may keep it alive a little longer.
TestProvider::~TestProvider() {
    m_state->server.stop();
}

std::string TestProvider::issuer() const {
    return m_state->issuer;
}

std::string TestProvider::url(Endpoint endpoint) const {
    return m_state->issuer + pathOf(endpoint);
}

unsigned short TestProvider::port() const {
    return m_state->server.port();
}

std::filesystem::path TestProvider::authorityFile() const {
    return m_state->authorityFile;
}

std::vector<RecordedRequest> TestProvider::requests() const {
    return m_state->requestsTo(std::nullopt);
}

std::vector<RecordedRequest> TestProvider::requests(Endpoint endpoint) const {
    return m_state->requestsTo(endpoint);
}

bool TestProvider::waitForRequests(Endpoint endpoint, std::size_t count, milliseconds limit) const {
    return m_state->wait(limit, [&] { return m_state->at(endpoint).received >= count; });
}

unsigned TestProvider::connections() const {
    const Lock lock(m_state->mutex);
    return m_state->connections;
}

bool TestProvider::waitForClosed(unsigned connection, milliseconds limit) const {
    return m_state->wait(limit, [&] {
        return connection <= m_state->connections && m_state->open.count(connection) == 0;
    });
}

void TestProvider::setTokenLifetime(std::chrono::seconds lifetime) {
    const Lock lock(m_state->mutex);
    m_state->service.tokenLifetime = lifetime;
}

void TestProvider::requireClient(const std::string& id, const std::string& secret) {
    const Lock lock(m_state->mutex);
    m_state->service.requiredClient.emplace(id, secret);
}

void TestProvider::setMember(Endpoint endpoint, const std::string& name, const std::string& value) {
    m_state->change(endpoint, [&](Settings& set) { set.members[name] = value; });
}

void TestProvider::removeMember(Endpoint endpoint, const std::string& name) {
    m_state->change(endpoint, [&](Settings& set) { set.members[name].reset(); });
}

void TestProvider::setDocument(Endpoint endpoint, const std::string& body) {
    m_state->change(endpoint, [&](Settings& set) { set.document = body; });
}

void TestProvider::setSigningKeys(const std::vector<SigningKey>& keys) {
    std::vector<detail::PublishedKey> published;
    published.reserve(keys.size());
    for (const auto& key : keys) {
        published.push_back({key, {}});
    }
    m_state->change(Endpoint::Keys, [&](Settings& set) { set.keys = std::move(published); });
}

SigningKey TestProvider::signingKey() const {
    const Lock lock(m_state->mutex);
    return m_state->service.signingKey();
}

void TestProvider::rotateSigningKey() {
    // Created before the lock is taken, because it takes long.
    const detail::PublishedKey fresh{SigningKey::rsa(detail::unique("key")), {}};
    const Lock lock(m_state->mutex);
    auto& keys = m_state->service.keys();
    if (!keys.empty()) {
        keys.erase(keys.begin());
    }
    keys.insert(keys.begin(), fresh);
}

void TestProvider::setKeyMember(std::size_t index, const std::string& name,
                                const std::string& json) {
    const Lock lock(m_state->mutex);
    m_state->service.keys().at(index).members[name] = json;
}

void TestProvider::removeKeyMember(std::size_t index, const std::string& name) {
    const Lock lock(m_state->mutex);
    m_state->service.keys().at(index).members[name].reset();
}

std::string TestProvider::issueCode(const CodeGrant& grant) {
    const Lock lock(m_state->mutex);
    return m_state->service.grants.issueCode(grant);
}

std::string TestProvider::issueRefreshToken(const std::string& clientId, const std::string& scope) {
    const Lock lock(m_state->mutex);
    return m_state->service.grants.issueRefreshToken(clientId, scope);
}

TestToken TestProvider::token(TokenKind kind, const std::string& clientId,
                              const std::string& nonce) const {
    const Lock lock(m_state->mutex);
    return m_state->service.token(kind, clientId, nonce);
}

void TestProvider::setTokenHeader(TokenKind kind, const std::string& name,
                                  const std::string& json) {
    m_state->changeTokens(kind, [&](TokenSettings& set) { set.header[name] = json; });
}

void TestProvider::removeTokenHeader(TokenKind kind, const std::string& name) {
    m_state->changeTokens(kind, [&](TokenSettings& set) { set.header[name].reset(); });
}

void TestProvider::setClaim(TokenKind kind, const std::string& name, const std::string& json) {
    m_state->changeTokens(kind, [&](TokenSettings& set) { set.claims[name] = json; });
}

void TestProvider::removeClaim(TokenKind kind, const std::string& name) {
    m_state->changeTokens(kind, [&](TokenSettings& set) { set.claims[name].reset(); });
}

void TestProvider::signWith(TokenKind kind, const SigningKey& key) {
    m_state->changeTokens(kind, [&](TokenSettings& set) { set.key = key; });
}

void TestProvider::setTokenText(TokenKind kind, const std::string& text) {
    m_state->changeTokens(kind, [&](TokenSettings& set) { set.text = text; });
}

void TestProvider::setStatus(Endpoint endpoint, unsigned status) {
    m_state->change(endpoint, [&](Settings& set) { set.status = status; });
}

void TestProvider::setHeader(Endpoint endpoint, const std::string& name, const std::string& value) {
    m_state->change(endpoint, [&](Settings& set) { set.headers.emplace_back(name, value); });
}

void TestProvider::slowHead(Endpoint endpoint, milliseconds interval) {
    m_state->change(endpoint, [&](Settings& set) { set.headPace = interval; });
}

void TestProvider::slowBody(Endpoint endpoint, milliseconds interval) {
    m_state->change(endpoint, [&](Settings& set) { set.bodyPace = interval; });
}

void TestProvider::neverAnswer(Endpoint endpoint) {
    m_state->change(endpoint, [&](Settings& set) { set.silent = true; });
}

void TestProvider::truncateBody(Endpoint endpoint, std::uint64_t bytes) {
    m_state->change(endpoint, [&](Settings& set) { set.bodyCut = bytes; });
}

void TestProvider::closeConnection(Endpoint endpoint, CloseAt at, CloseBy by) {
    m_state->change(endpoint, [&](Settings& set) { set.close.emplace(at, by); });
}

void TestProvider::garbage(Endpoint endpoint, const std::string& bytes) {
    m_state->change(endpoint, [&](Settings& set) { set.garbage = bytes; });
}

void TestProvider::hugeBody(Endpoint endpoint, std::uint64_t bytes, Framing framing) {
    m_state->change(endpoint, [&](Settings& set) {
        set.minimalBody = bytes;
        set.framing = framing;
    });
}

void TestProvider::closeAfterAnswer(Endpoint endpoint) {
    m_state->change(endpoint, [&](Settings& set) { set.closeAfterAnswer = true; });
}

void TestProvider::resetAfter(Endpoint endpoint, unsigned answers) {
    m_state->change(endpoint, [&](Settings& set) { set.answersLeft = answers; });
}

void TestProvider::reset(Endpoint endpoint) {
    m_state->change(endpoint, [&](Settings& set) { set = {}; });
}

void TestProvider::reset() {
    for (const auto endpoint : endpoints) {
        reset(endpoint);
    }
}

TestProvider::Hold TestProvider::hold(Endpoint endpoint) {
    const Lock lock(m_state->mutex);
    ++m_state->at(endpoint).holds;
    return Hold({m_state.get(), [state = std::weak_ptr(m_state), endpoint](void*) {
                     if (const auto alive = state.lock()) {
                         alive->release(endpoint);
                     }
                 }});
}

}  // namespace auth::testing
