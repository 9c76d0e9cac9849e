#include "tool/UserToken.h"

#include "auth/COIDCHelper.h"
#include "host/CString.h"
#include "host/standalone/RefreshTokenKeeper.h"
#include "tool/Asking.h"
#include "tool/Countdown.h"
#include "tool/Issuer.h"
#include "tool/ObservedStore.h"
#include "tool/ProviderChecks.h"
#include "tool/UnreadStore.h"

#include <atomic>
#include <chrono>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

namespace tool {

namespace {

/// That of the library.
constexpr std::chrono::seconds signInLimit{90};

/// Shows the user where to sign in, and how much time there is for it.
class Prompt {
public:
    explicit Prompt(bool opensBrowser) : m_opensBrowser(opensBrowser) {}

    void show(const CString& url) {
        if (!isHttp(url.toUtf8())) {
            throw std::runtime_error(
                "the provider's authorization_endpoint is no http or https URL");
        }
        m_shown = true;
        std::cerr << "To sign in, open this page:\n" << url << std::endl;
        if (m_opensBrowser && !auth::COIDCHelper::openBrowser(url)) {
            std::cerr << "oidcauth: no browser could be started; open the page yourself\n";
        }
        m_countdown.emplace("the sign-in in the browser", signInLimit);
    }

    bool wasShown() const { return m_shown; }

private:
    const bool m_opensBrowser;
    std::atomic<bool> m_shown{false};
    std::optional<Countdown> m_countdown;
};

}  // namespace

void SignInOptions::addTo(CLI::App& command) {
    auto* const group = command.add_option_group("Sign-in");
    group
        ->add_option("--redirect-url", redirectUrls,
                     "Where the provider sends its answer: http, on this machine,\n"
                     "and registered with the provider. Of several the first whose\n"
                     "port is free is taken. Default: path /callback on 127.0.0.1,\n"
                     "port 17419, 23419 or 28419")
        ->type_name("URL")
        ->delimiter(' ')
        ->allow_extra_args(false);
    group->add_flag("--no-browser", noBrowser,
                    "Only print the page to open. A browser on another machine\n"
                    "reaches the redirect URL through ssh -L PORT:127.0.0.1:PORT");
}

UserToken getUserToken(const RequestOptions& request, const SignInOptions& options, SignIn signIn) {
    request.prepare();
    for (const std::string& url : options.redirectUrls) {
        checkRedirectUrl(url);
    }
    const std::shared_ptr<RecordStore> kept = request.record.openStore();
    std::shared_ptr<PlainStore> store = kept;
    if (signIn == SignIn::always) {
        store = std::make_shared<UnreadStore>(kept);
    }
    const auto record = std::make_shared<ObservedStore::Record>();
    Prompt prompt(!options.noBrowser);
    // A provider that rotates refresh tokens takes the old one for used as soon as it has seen it.
    const auto prepare = [kept] { kept->prepareWrite(); };
    auth::COIDCHelper helper(std::make_unique<standalone::RefreshTokenKeeper<auth::COIDCToken>>(
                                 std::make_shared<ObservedStore>(std::move(store), record)),
                             request.record.permit(prepare), request.logger());
    helper.setBrowserOpener([&prompt](const CString& url) {
        prompt.show(url);
        return true;  // also without a browser: the user has the URL
    });
    const std::string url = request.record.provider.url();
    if (signIn == SignIn::always) {
        MemoryRecord nothing;
        confirmIssuer(request, nothing);
    } else {
        confirmIssuer(request, *kept);
    }
    const auto token = ask(url, [&](const auto& cancellation) {
        return helper.getOIDCTokenHybridAsync(
            url, request.record.clientId, request.scopes,
            {options.redirectUrls.begin(), options.redirectUrls.end()}, request.minValidity,
            cancellation, signIn != SignIn::never);
    });
    using Origin = UserToken::Origin;
    const bool isNew = record->wasWritten();
    // What is stored may have a refresh token that the answer did not bring.
    return {isNew ? record->token() : token, prompt.wasShown() ? Origin::signedIn
                                             : isNew           ? Origin::refreshed
                                                               : Origin::stored};
}

}  // namespace tool
