#include "tool/UserToken.h"

#include "auth/COIDCHelper.h"
#include "auth/Requests.h"
#include "host/CString.h"
#include "host/standalone/RefreshTokenKeeper.h"
#include "tool/Asking.h"
#include "tool/Issuer.h"
#include "tool/ObservedStore.h"
#include "tool/UnreadStore.h"

#include <chrono>
#include <exception>
#include <memory>
#include <utility>

namespace tool {

namespace {

auth::UserRequest requestOf(const RequestOptions& request, const SignInOptions& options) {
    return {request.record.provider.url(),
            request.record.clientId,
            request.scopes,
            options.redirectUrls,
            std::chrono::minutes(request.minValidity),
            false,
            options.parameters()};
}

}  // namespace

UserToken getUserToken(const RequestOptions& request, const SignInOptions& options, SignIn signIn) {
    request.prepare();
    options.check();
    auth::UserRequest asked = requestOf(request, options);
    const std::shared_ptr<RecordStore> kept = request.record.openStore();
    std::shared_ptr<PlainStore> store = kept;
    if (signIn == SignIn::always) {
        store = std::make_shared<UnreadStore>(kept);
    }
    const auto record = std::make_shared<ObservedStore::Record>();
    AskedUser user(signIn, !options.noBrowser, request.record.signInMark());
    asked.mayAskUser = user.mayBeAsked();
    // A provider that rotates refresh tokens takes the old one for used as soon as it has seen it.
    const auto prepare = [kept] { kept->prepareWrite(); };
    auth::COIDCHelper helper(std::make_unique<standalone::RefreshTokenKeeper<auth::COIDCToken>>(
                                 std::make_shared<ObservedStore>(std::move(store), record)),
                             request.record.permit(prepare), request.logger());
    helper.setBrowserOpener([&user](const CString& url) {
        user.bringTo(url);
        return true;  // also without a browser: the user has the URL
    });
    MemoryRecord nothing;
    confirmIssuer(request, signIn == SignIn::always ? nothing : *kept);
    try {
        const auto token = ask(asked.configUrl, [&](const auto& cancellation) {
            return helper.getOIDCTokenHybridAsync(asked, cancellation);
        });
        user.succeed();
        using Origin = UserToken::Origin;
        const bool isNew = record->wasWritten();
        // What is stored may have a refresh token that the answer did not bring.
        return {isNew ? record->token() : token, user.wasAsked() ? Origin::signedIn
                                                 : isNew         ? Origin::refreshed
                                                                 : Origin::stored};
    } catch (...) {
        user.fail(std::current_exception());
    }
}

}  // namespace tool
