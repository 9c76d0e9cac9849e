#pragma once

#include <cpprest/http_msg.h>

#include <string>
#include <vector>

namespace fuzz {

/// A provider's answer.
struct Answer {
    web::http::status_code status = web::http::status_codes::OK;
    std::string contentType = "application/json";
    std::string body;
};

/// From the first call on, no task waits for another thread.
void runTasksInline();

/// Sets the answers to the following exchanges, in order. Exchanges are started on one thread; one
/// too many throws std::out_of_range.
void replay(std::vector<Answer> answers);

/// Makes an answer from one text: its content type, a newline, its body. Without a newline
/// everything is body.
Answer answerOf(const std::string& text);

}  // namespace fuzz
