#pragma once

#include <cpprest/http_msg.h>

#include <string>
#include <vector>

namespace fuzz {

/// What a provider answers.
struct Answer {
    web::http::status_code status = web::http::status_codes::OK;
    std::string contentType = "application/json";
    std::string body;
};

/// From the first call on, no task waits for another thread.
void runTasksInline();

/// The answers to the exchanges from here on, in their order. Exchanges are begun on one thread;
/// one too many throws std::out_of_range.
void replay(std::vector<Answer> answers);

/// An answer from one text: its content type, a newline, its body. Without a newline all is body.
Answer answerOf(const std::string& text);

}  // namespace fuzz
