#pragma once

#include "platform/RedirectServer.h"

#include <boost/beast/core/string.hpp>
#include <boost/beast/http/basic_parser.hpp>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>

namespace platform {

/// Keeps only the parts of a request that the handler needs: there could be many other fields.
class RedirectParser final : public boost::beast::http::basic_parser<true> {
public:
    RedirectParser() {
        // The caller counts the bytes.
        header_limit(std::numeric_limits<std::uint32_t>::max());
        body_limit(std::numeric_limits<std::uint64_t>::max());
    }

    const RedirectRequest& request() const { return m_request; }
    RedirectRequest take() { return std::exchange(m_request, {}); }
    bool expectsContinue() const { return m_expectsContinue && m_version >= 11; }
    std::size_t held() const {
        return m_request.method.capacity() + m_request.target.capacity() +
               m_request.contentType.capacity() + m_request.body.capacity();
    }

private:
    using Error = boost::beast::error_code;
    using Field = boost::beast::http::field;
    using Text = boost::beast::string_view;

    void on_request_impl(boost::beast::http::verb /*verb*/, Text method, Text target, int version,
                         Error& /*error*/) override {
        m_request.method = std::string(method);
        m_request.target = std::string(target);
        m_version = version;
    }

    // If a field occurs twice, the first one counts; fields after the body are ignored.
    void on_field_impl(Field field, Text /*name*/, Text value, Error& /*error*/) override {
        if (field == Field::content_type && !m_isTyped && !is_header_done()) {
            m_isTyped = true;
            m_request.contentType = std::string(value);
        }
        if (field == Field::expect && !m_expects) {
            m_expects = true;
            m_expectsContinue = boost::beast::iequals(value, "100-continue");
        }
    }

    std::size_t on_body_impl(Text piece, Error& /*error*/) override {
        m_request.body.append(piece.data(), piece.size());
        return piece.size();
    }
    std::size_t on_chunk_body_impl(std::uint64_t /*rest*/, Text piece, Error& error) override {
        return on_body_impl(piece, error);
    }

    void on_response_impl(int /*status*/, Text /*reason*/, int /*version*/,
                          Error& /*error*/) override {}
    void on_header_impl(Error& /*error*/) override {}
    void on_body_init_impl(const boost::optional<std::uint64_t>& /*length*/,
                           Error& /*error*/) override {}
    void on_chunk_header_impl(std::uint64_t /*size*/, Text /*extensions*/,
                              Error& /*error*/) override {}
    void on_finish_impl(Error& /*error*/) override {}

    RedirectRequest m_request;
    int m_version = 0;
    bool m_isTyped = false;
    bool m_expects = false;
    bool m_expectsContinue = false;
};

}  // namespace platform
