#include "tool/UserToken.h"

#include "auth/COIDCHelper.h"
#include "auth/Requests.h"
#include "host/CString.h"
#include "host/standalone/RefreshTokenKeeper.h"
#include "tool/Asking.h"
#include "tool/Interrupt.h"
#include "tool/Issuer.h"
#include "tool/ObservedStore.h"
#include "tool/UnreadStore.h"

#include <chrono>
#include <exception>
#include <memory>
#include <string>

namespace tool {

namespace {

const RequestOptions& checked(const RequestOptions& request, const SignInOptions& options) {
    request.prepare();
    options.check();
    return request;
}

class UserTokens final : public TokenSource {
public:
    UserTokens(const RequestOptions& request, const SignInOptions& options, SignIn signIn)
        : m_request(checked(request, options)),
          m_options(options),
          m_kept(request.record.openStore()),
          m_store(signIn == SignIn::always ? std::make_shared<UnreadStore>(m_kept)
                                           : std::shared_ptr<PlainStore>(m_kept)),
          m_user(signIn, !options.noBrowser, request.record.signInMark()),
          m_helper(std::make_unique<standalone::RefreshTokenKeeper<auth::COIDCToken>>(
                       std::make_shared<ObservedStore>(m_store, m_record)),
                   // A provider that rotates refresh tokens treats the old one as used as soon as
                   // it has seen it, so a write must be possible before.
                   request.record.permit([kept = m_kept] { kept->prepareWrite(); }),
                   request.logger()) {
        m_helper.setBrowserOpener([this](const CString& url) {
            m_user.bringTo(url);
            return true;  // even without a browser: the user has the URL
        });
    }

    const std::string& url() const override { return m_url; }

    Concurrency::task<auth::COIDCToken> request(
        unsigned int minValidity, const Concurrency::cancellation_token& cancellation) override {
        auth::UserRequest asked;
        asked.configUrl = m_url;
        asked.clientId = m_request.record.clientId;
        asked.scopes = m_request.scopes;
        asked.redirectUrls = m_options.redirectUrls;
        asked.minValidity = std::chrono::minutes(minValidity);
        asked.mayAskUser = m_user.mayBeAsked();
        asked.authorizationParameters = m_options.parameters();
        const auto begin = [this, asked, cancellation] { return outcomeFor(asked, cancellation); };
        const auto confirmed = confirmIssuer(m_request, minValidity, *m_store, cancellation);
        return (confirmed ? confirmed->then(begin, atOnce()) : begin())
            .then(
                [this](const Concurrency::task<auth::COIDCToken>& outcome) {
                    return settled(outcome);
                },
                atOnce());
    }

    bool wasStored() const override { return origin() == UserToken::Origin::stored; }

    UserToken::Origin origin() const {
        using Origin = UserToken::Origin;
        return m_user.wasAsked()        ? Origin::signedIn
               : m_record->wasWritten() ? Origin::refreshed
                                        : Origin::stored;
    }

private:
    /// If the library throws at once, that is an outcome, too.
    Concurrency::task<auth::COIDCToken> outcomeFor(
        const auth::UserRequest& asked, const Concurrency::cancellation_token& cancellation) {
        try {
            return m_helper.getOIDCTokenHybridAsync(asked, cancellation);
        } catch (...) {
            return Concurrency::task_from_exception<auth::COIDCToken>(std::current_exception());
        }
    }

    auth::COIDCToken settled(const Concurrency::task<auth::COIDCToken>& outcome) {
        try {
            auth::COIDCToken token = outcome.get();
            m_user.succeed();
            // The stored record may have a refresh token that the answer lacked.
            return m_record->wasWritten() ? m_record->token() : token;
        } catch (...) {
            m_user.fail(std::current_exception());
        }
    }

    const RequestOptions m_request;
    const SignInOptions m_options;
    const std::string m_url = m_request.record.provider.url();
    const std::shared_ptr<RecordStore> m_kept;
    const std::shared_ptr<PlainStore> m_store;
    const std::shared_ptr<ObservedStore::Record> m_record =
        std::make_shared<ObservedStore::Record>();
    AskedUser m_user;
    auth::COIDCHelper m_helper;  // last, because its requests use the others
};

}  // namespace

UserToken getUserToken(const RequestOptions& request, const SignInOptions& options, SignIn signIn) {
    UserTokens tokens(request, options, signIn);
    const auto token = ask(tokens.url(), [&](const auto& cancellation) {
        return tokens.request(request.minValidity, cancellation);
    });
    return {token, tokens.origin()};
}

std::unique_ptr<TokenSource> openUserTokens(const RequestOptions& request,
                                            const SignInOptions& options, SignIn signIn) {
    return std::make_unique<UserTokens>(request, options, signIn);
}

}  // namespace tool
