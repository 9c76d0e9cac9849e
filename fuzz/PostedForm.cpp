#include "fuzz/ReplayedExchange.h"
#include "fuzz/Require.h"
#include "fuzz/SignIn.h"
#include "platform/RedirectServer.h"

#include <cpprest/http_msg.h>

#include <cstddef>
#include <cstdint>
#include <string>

// The input is the user's browser's post: a content type, a newline, a form.

namespace {

platform::RedirectHandler* handler = nullptr;

}  // namespace

namespace platform {

// Replaces the sockets, which have their own entry.

class RedirectServer::Impl {};

RedirectServer::RedirectServer(const utility::string_t& /*url*/, RedirectHandler& theirs) {
    handler = &theirs;
}

RedirectServer::~RedirectServer() = default;

}  // namespace platform

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const fuzz::Answer post =
        fuzz::answerOf(std::string(reinterpret_cast<const char*>(data), size));
    fuzz::SignIn signIn("http://localhost/callback");
    fuzz::require(!handler->judgeHead("POST", "/callback"));
    const auto answer = handler->answer({"POST", "/callback", post.contentType, post.body});
    answer.ended();
    const auto received = signIn.end();
    fuzz::require(received.has_value() == (answer.status == web::http::status_codes::OK));
    fuzz::require(post.contentType != fuzz::formType || fuzz::isOf(post.body, received));
    return 0;
}
