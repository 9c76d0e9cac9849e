#pragma once

#include "host/CString.h"
#include "testing/TestBrowser.h"
#include "tests/support/Common.h"

namespace test {

/// A user at a browser: calls `acts` with each URL that is opened, by default to sign in. The
/// opener does not wait for that, the destructor does. Must outlive the requests.
class User {
public:
    using Acts = std::function<void(const std::string& url)>;

    explicit User(Acts acts = [](const std::string& url) { auth::testing::signIn(url); })
        : m_acts(std::move(acts)) {}

    std::function<bool(const CString&)> opener() {
        return [this](const CString& url) {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_urls.push_back(url.toUtf8());
            m_actions.push_back(std::async(std::launch::async, m_acts, m_urls.back()));
            return true;
        };
    }

    std::vector<std::string> urls() const {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_urls;
    }

private:
    Acts m_acts;
    mutable std::mutex m_mutex;
    std::vector<std::string> m_urls;
    std::vector<std::future<void>> m_actions;
};

}  // namespace test
