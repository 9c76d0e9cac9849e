#include "tool/ExitCode.h"

#include "auth/COIDCHelper.h"
#include "auth/OIDCError.h"
#include "host/standalone/ProxySettings.h"
#include "host/standalone/TokenStoreError.h"
#include "platform/Tasks.h"

#include <boost/system/system_error.hpp>
#include <cpprest/http_msg.h>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <new>
#include <string_view>
#include <system_error>

namespace tool {

namespace {

using auth::OIDCError;

struct Explanation {
    std::string_view beginning;  ///< of the library's text
    ExitCode code;
    const char* advice;
};

constexpr std::array explanations{
    Explanation{"no code in auth code response", ExitCode::ProviderRefused,
                "the provider ended the sign-in without a code: it was cancelled there, or this "
                "client may not request these scopes"},
    Explanation{"unable to get auth code within specified timeframe", ExitCode::SignInNeeded,
                "nobody has signed in; if the page shows an error, the provider may not know this "
                "client id or redirect URL"},
    Explanation{"unexpexted listener request type", ExitCode::ProviderRefused,
                "the redirect URL was opened without the form that ends a sign-in"},
    Explanation{"cannot listen on", ExitCode::Unexpected, "give another one with --redirect-url"},
};

/// The reason for the failure, if it is known; otherwise empty.
std::string reasonOf(const OIDCError& failure) {
    const std::string& error = failure.providerError();
    if (!error.empty()) {
        const std::string& description = failure.providerErrorDescription();
        return ": the provider says " + error +
               (description.empty() ? "" : " (" + description + ')');
    }
    if (!failure.missedClaim().empty()) {
        return fmt::format(": {} is missing or wrong; the token has {}", failure.missedClaim(),
                           fmt::join(failure.claims(), ", "));
    }
    return "";
}

Outcome explained(const std::string& text, const std::string& reason) {
    if (text.empty()) {  // the only such exception is the JWT library's
        return {ExitCode::ProviderRefused, "a number in a token is out of range"};
    }
    const auto* const known =
        std::find_if(explanations.begin(), explanations.end(), [&text](const Explanation& item) {
            return text.compare(0, item.beginning.size(), item.beginning) == 0;
        });
    if (known == explanations.end()) {
        return {ExitCode::ProviderRefused, text + reason};
    }
    return {known->code,
            text + (reason.empty() ? " (" + std::string(known->advice) + ')' : reason)};
}

/// The HTTP library says what went wrong, but not what to do about it.
const char* networkAdvice(const std::string& text) {
    for (const char* const mark : {"SSL", "TLS", "certificate"}) {
        if (text.find(mark) != std::string::npos) {
            return " (check the provider's certificate and the authority that issued it)";
        }
    }
    return " (check the provider's URL, the network and the proxy settings)";
}

/// Codes of other libraries describe errors in a provider's answer.
bool isOfSystem(const std::error_code& code) {
    return code.category() == std::generic_category() || code.category() == std::system_category();
}

Outcome ofSystem(const std::error_code& code, const std::string& text) {
    const bool isThreads = code == std::errc::resource_unavailable_try_again;
    return {ExitCode::Unexpected,
            text + (isThreads ? " (no more threads can be created; see ulimit -u)" : "")};
}

/// Empty for a number that is not an exit code. The compiler warns if one is missing here.
const char* meaningOf(ExitCode code) {
    switch (code) {
        case ExitCode::Success:
            return "success";
        case ExitCode::Unexpected:
            return "a failure on this machine: no free port, no memory, output closed";
        case ExitCode::Usage:
            return "an error in the command line, a variable or config.toml";
        case ExitCode::SignInNeeded:
            return "a user has to sign in: run oidcauth login";
        case ExitCode::ProviderRefused:
            return "the provider refused the request, or its answer is wrong";
        case ExitCode::Network:
            return "the provider was not reached, or did not answer in time";
        case ExitCode::TokenStore:
            return "the token cannot be stored or read safely";
        case ExitCode::ProgramNotExecutable:
            return "exec: the program cannot be run";
        case ExitCode::ProgramNotFound:
            return "exec: the program is not found";
        case ExitCode::Interrupted:
            return "interrupted";
    }
    return "";
}

/// For an exception of the HTTP library.
ExitCode codeOf(OIDCError::Kind kind) {
    switch (kind) {
        case OIDCError::Kind::wrongAnswer:
            return ExitCode::ProviderRefused;
        case OIDCError::Kind::notReached:
            return ExitCode::Network;
        default:  // this machine lacks something
            return ExitCode::Unexpected;
    }
}

}  // namespace

std::vector<std::pair<ExitCode, std::string>> exitCodes() {
    constexpr int last = 255;
    std::vector<std::pair<ExitCode, std::string>> codes;
    for (int number = 0; number <= last; ++number) {
        const auto code = static_cast<ExitCode>(number);
        const std::string meaning = meaningOf(code);
        if (!meaning.empty()) {
            codes.emplace_back(code, meaning);
        }
    }
    return codes;
}

bool isOfProgram(ExitCode code) {
    return code == ExitCode::ProgramNotExecutable || code == ExitCode::ProgramNotFound;
}

Outcome outcomeOf(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const Concurrency::task_canceled&) {
        return {ExitCode::Interrupted, "interrupted"};
    } catch (const UsageError& error) {
        return {ExitCode::Usage, error.what()};
    } catch (const ProgramError& error) {
        return {error.code(), error.what()};
    } catch (const standalone::ProxySettingsError& error) {
        return {ExitCode::Usage, error.what()};
    } catch (const auth::RequiresUserAuthException& error) {
        return {ExitCode::SignInNeeded,
                error.what() + reasonOf(OIDCError::of(failure)) + "; run oidcauth login"};
    } catch (const standalone::TokenStoreError& error) {
        return {ExitCode::TokenStore, error.what()};
    } catch (const web::http::http_exception& error) {
        const ExitCode code = codeOf(OIDCError::of(failure).kind());
        const std::string text = error.what();
        return {code, text + (code == ExitCode::Network ? networkAdvice(text) : "")};
    } catch (const std::bad_alloc&) {
        return {ExitCode::Unexpected, "out of memory"};
    } catch (const boost::system::system_error& error) {
        // From Boost's network library, which handles nothing that a provider answers.
        return ofSystem({error.code().value(), std::generic_category()}, error.what());
    } catch (const std::system_error& error) {
        return isOfSystem(error.code()) ? ofSystem(error.code(), error.what())
                                        : Outcome{ExitCode::ProviderRefused, error.what()};
    } catch (const std::exception& error) {
        return explained(error.what(), reasonOf(OIDCError::of(failure)));
    } catch (...) {
        return {ExitCode::Unexpected, "unknown failure"};
    }
}

}  // namespace tool
