#include "tool/FailureText.h"

namespace tool {

std::string failureText(const web::http::http_exception& failure) {
    return failure.what();
}

}  // namespace tool
