// The functions that return a user's token.

#include "auth/COIDCHelper.h"
#include "auth/detail/Arguments.h"
#include "auth/detail/Log.h"
#include "auth/detail/TokenTaskData.h"
#include "auth/detail/Waiting.h"

namespace auth {

using Concurrency::cancellation_token;
using detail::ELogLevel;

namespace {

/// The single arguments. They are copied only when the result is called, inside started(), so that
/// a failure to copy becomes the task's failure.
auto eachOf(const CString& configUrl, const CString& clientId, const CString& scopes,
            const std::vector<CString>& redirectUrls, unsigned int minValidity,
            bool authRequested) {
    return [&, minValidity, authRequested] {
        return detail::UserArguments{configUrl,    clientId,    scopes,
                                     redirectUrls, minValidity, authRequested};
    };
}

}  // namespace

/// `arguments` returns the request's arguments, or throws; the task's result is what `part`
/// extracts from the token.
template <class T, class Arguments, class Part>
Concurrency::task<T> COIDCHelper::requestHybrid(const Arguments& arguments,
                                                const cancellation_token& token, Part part) {
    return detail::started([&] {
        const detail::UserArguments asked = arguments();
        detail::log(m_logger, ELogLevel::Flow,
                    L"Obtaining token using config url = %s, client id = %s, scopes = %s, redirect "
                    L"url = %s",
                    asked.configUrl, asked.clientId, asked.scopes, asked.firstRedirectUrl());
        const auto data = std::make_shared<TokenTaskData>(TokenTaskData{asked, newPermits()});
        auto result = data->resultEvent->taskOf(part);
        getTokenTask(data, token);
        return result;
    });
}

Concurrency::task<COIDCToken> COIDCHelper::getOIDCTokenHybridAsync(
    const CString& configUrl, const CString& clientId, const CString& scopes,
    const std::vector<CString>& redirectUrls, unsigned int minValidity,
    const cancellation_token& token, bool authRequested) {
    return requestHybrid<COIDCToken>(
        eachOf(configUrl, clientId, scopes, redirectUrls, minValidity, authRequested), token,
        detail::wholeOf);
}

Concurrency::task<CString> COIDCHelper::getAccessTokenHybridAsync(
    const CString& configUrl, const CString& clientId, const CString& scopes,
    const std::vector<CString>& redirectUrls, unsigned int minValidity,
    const cancellation_token& token, bool authRequested) {
    return requestHybrid<CString>(
        eachOf(configUrl, clientId, scopes, redirectUrls, minValidity, authRequested), token,
        detail::accessTokenOf);
}

Concurrency::task<CString> COIDCHelper::getIdTokenHybridAsync(
    const CString& configUrl, const CString& clientId, const CString& scopes,
    const std::vector<CString>& redirectUrls, unsigned int minValidity,
    const cancellation_token& token, bool authRequested) {
    return requestHybrid<CString>(
        eachOf(configUrl, clientId, scopes, redirectUrls, minValidity, authRequested), token,
        detail::idTokenOf);
}

CString COIDCHelper::getAccessTokenHybrid(const CString& configUrl, const CString& clientId,
                                          const CString& scopes,
                                          const std::vector<CString>& redirectUrls,
                                          unsigned int minValidity, bool authRequested) {
    return detail::awaited(getAccessTokenHybridAsync(configUrl, clientId, scopes, redirectUrls,
                                                     minValidity, cancellation_token::none(),
                                                     authRequested));
}

Concurrency::task<COIDCToken> COIDCHelper::getOIDCTokenHybridAsync(
    const UserRequest& request, const cancellation_token& token) {
    return requestHybrid<COIDCToken>([&] { return detail::argumentsOf(request); }, token,
                                     detail::wholeOf);
}

Concurrency::task<CString> COIDCHelper::getAccessTokenHybridAsync(const UserRequest& request,
                                                                  const cancellation_token& token) {
    return requestHybrid<CString>([&] { return detail::argumentsOf(request); }, token,
                                  detail::accessTokenOf);
}

Concurrency::task<CString> COIDCHelper::getIdTokenHybridAsync(const UserRequest& request,
                                                              const cancellation_token& token) {
    return requestHybrid<CString>([&] { return detail::argumentsOf(request); }, token,
                                  detail::idTokenOf);
}

COIDCToken COIDCHelper::getOIDCTokenHybrid(const UserRequest& request) {
    return detail::awaited(getOIDCTokenHybridAsync(request));
}

CString COIDCHelper::getAccessTokenHybrid(const UserRequest& request) {
    return detail::awaited(getAccessTokenHybridAsync(request));
}

CString COIDCHelper::getIdTokenHybrid(const UserRequest& request) {
    return detail::awaited(getIdTokenHybridAsync(request));
}

}  // namespace auth
