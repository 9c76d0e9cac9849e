#include "testing/detail/Answering.h"

#include <boost/beast/core/string.hpp>
#include <boost/beast/http/status.hpp>

#include <algorithm>

namespace auth::testing::detail {
namespace {

void setField(Fields& fields, const std::string& name, const std::string& value) {
    fields.erase(
        std::remove_if(fields.begin(), fields.end(),
                       [&](const auto& field) { return boost::beast::iequals(field.first, name); }),
        fields.end());
    if (!value.empty()) {
        fields.emplace_back(name, value);
    }
}

std::string headText(unsigned status, const Fields& headers) {
    namespace http = boost::beast::http;
    std::string head = "HTTP/1.1 " + std::to_string(status) + ' ' +
                       std::string(http::obsolete_reason(http::int_to_status(status))) + "\r\n";
    for (const auto& [name, value] : headers) {
        head.append(name).append(": ").append(value).append("\r\n");
    }
    return head + "\r\n";
}

void cutBody(Reply& reply, std::uint64_t bytes) {
    reply.padding = std::min(reply.padding, bytes);
    reply.body.resize(std::min<std::uint64_t>(reply.body.size(), bytes - reply.padding));
    reply.lastChunk = false;
    reply.ending = Ending::Close;
}

void closeAt(Reply& reply, CloseAt at, CloseBy by) {
    if (at != CloseAt::AfterHead) {
        reply.head.resize(at == CloseAt::InsideHead ? reply.head.size() / 2 : 0);
    }
    cutBody(reply, 0);
    reply.ending = by == CloseBy::Reset ? Ending::Reset : Ending::Close;
}

}  // namespace

Reply render(Content content, const Settings& settings, bool keepAlive) {
    Reply reply;
    if (settings.silent || settings.garbage) {
        reply.head = settings.silent ? "" : *settings.garbage;
        reply.ending = settings.silent ? Ending::Silence : Ending::Close;
        return reply;
    }
    const unsigned status = settings.status.value_or(content.status);
    // Other answers have no body: a client would take one for its next answer.
    if (status >= 200 && status != 204 && status != 304) {
        const auto size = std::max<std::uint64_t>(settings.minimalBody, content.body.size());
        reply.padding = size - content.body.size();
        reply.body = std::move(content.body);
        reply.chunked = settings.framing == Framing::Chunked;
        if (reply.chunked) {
            setField(content.headers, "Transfer-Encoding", "chunked");
        } else if (settings.framing == Framing::ContentLength) {
            setField(content.headers, "Content-Length", std::to_string(size));
        }
    }
    const bool close = !keepAlive || settings.framing == Framing::EndOfConnection;
    if (close) {
        setField(content.headers, "Connection", "close");
    }
    for (const auto& [name, value] : settings.headers) {
        setField(content.headers, name, value);
    }
    reply.head = headText(status, content.headers);
    reply.headPace = settings.headPace;
    reply.bodyPace = settings.bodyPace;
    reply.ending = close || settings.closeAfterAnswer ? Ending::Close : Ending::KeepAlive;
    if (settings.close) {
        closeAt(reply, settings.close->first, settings.close->second);
    } else if (settings.bodyCut) {
        cutBody(reply, *settings.bodyCut);
    }
    return reply;
}

}  // namespace auth::testing::detail
