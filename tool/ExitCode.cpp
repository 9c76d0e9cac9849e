#include "tool/ExitCode.h"

#include "auth/COIDCHelper.h"
#include "host/standalone/FileTokenStore.h"
#include "host/standalone/ProxySettings.h"
#include "platform/Tasks.h"

#include <cpprest/http_msg.h>

#include <new>
#include <system_error>

namespace tool {

Outcome outcomeOf(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const Concurrency::task_canceled&) {
        return {ExitCode::Interrupted, "interrupted"};
    } catch (const UsageError& error) {
        return {ExitCode::Usage, error.what()};
    } catch (const standalone::ProxySettingsError& error) {
        return {ExitCode::Usage, error.what()};
    } catch (const auth::RequiresUserAuthException& error) {
        return {ExitCode::SignInNeeded, error.what()};
    } catch (const standalone::TokenStoreError& error) {
        return {ExitCode::TokenStore, error.what()};
    } catch (const web::http::http_exception& error) {
        // The HTTP library gives a system's error code where the exchange failed, and none where
        // the answer was understood and is wrong.
        return {error.error_code() ? ExitCode::Network : ExitCode::ProviderRefused, error.what()};
    } catch (const std::bad_alloc&) {
        return {ExitCode::Unexpected, "out of memory"};
    } catch (const std::system_error& error) {
        return {ExitCode::Unexpected, error.what()};
    } catch (const std::exception& error) {
        return {ExitCode::ProviderRefused, error.what()};
    } catch (...) {
        return {ExitCode::Unexpected, "unknown failure"};
    }
}

}  // namespace tool
