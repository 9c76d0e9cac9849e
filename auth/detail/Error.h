#pragma once

#include <exception>
#include <string>
#include <utility>

namespace auth::detail {

/// A plain exception that carries a text; std::exception alone has no room for one everywhere.
class Error : public std::exception {
public:
    explicit Error(std::string text) : m_text(std::move(text)) {}
    const char* what() const noexcept override { return m_text.c_str(); }

private:
    std::string m_text;
};

}  // namespace auth::detail
