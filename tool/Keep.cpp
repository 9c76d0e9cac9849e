#include "auth/OIDCError.h"
#include "host/standalone/LogSinks.h"
#include "tool/Asking.h"
#include "tool/Commands.h"
#include "tool/ExitCode.h"
#include "tool/FilePath.h"
#include "tool/Output.h"
#include "tool/ServiceManager.h"
#include "tool/SourceOptions.h"
#include "tool/TokenFile.h"
#include "tool/Watch.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <random>
#include <string>

namespace tool {

namespace {

using auth::COIDCToken;
using auth::OIDCError;
using Duration = Moment::Duration;

/// The time between two reads of the store, where others may put a new token.
constexpr std::chrono::minutes longestSleep{1};
/// The age at which a token without an expiry is replaced.
constexpr std::chrono::hours oldAge{1};

struct KeepOptions {
    SourceOptions source;
    OutputOptions output;
    FilePath file;
};

/// The age at which to replace a token with this life: early enough for the minimum validity, but
/// not before half of its life, since the provider's tokens may live no longer than that. At once
/// if it is about to expire.
Duration ageToReplace(Duration life, std::chrono::minutes minValidity) {
    return life < std::chrono::seconds(1)
               ? Duration()
               : std::clamp<Duration>(life - minValidity, life / 2, life * 2 / 3);
}

/// How long to wait after this number of failures: longer each time, and a little different in each
/// process, so that a provider that comes back does not get all requests at once.
Duration pauseAfter(unsigned int failures) {
    static std::mt19937 random{std::random_device{}()};
    constexpr unsigned int mostDoublings = 5;  // 32 s
    const double longest = 1U << std::min(failures - 1, mostDoublings);
    std::uniform_real_distribution<double> part(0.5, 1);
    return std::chrono::duration_cast<Duration>(
        std::chrono::duration<double>(longest * part(random)));
}

class Keeper {
public:
    Keeper(const KeepOptions& options, Watch& watch)
        : m_watch(watch),
          m_file(options.file),
          m_kind(options.source.kind()),
          m_minValidity(options.source.request.minValidity),
          m_output(m_kind, options.output.chosen(false)),
          m_source(options.source.open()) {}

    /// Runs until task_canceled or a permanent failure ends it.
    [[noreturn]] void run() {
        for (;;) {
            const Attempt made = attempt();
            if (!made.failure || isServing(made)) {
                publish(*made.token, !made.failure);
            }
            m_watch.sleepUntil(made.failure ? afterFailure(made) : afterSuccess());
        }
    }

private:
    struct Attempt {
        std::optional<COIDCToken> token;  // after a failure: the stored token
        std::exception_ptr failure;
    };

    COIDCToken get(unsigned int minValidity) {
        const Concurrency::cancellation_token_source source;
        try {
            return m_watch.await(m_source->request(minValidity, source.get_token()), source);
        } catch (const web::http::http_exception& error) {
            throw named(error, m_source->url());
        }
    }

    Attempt attempt() {
        Attempt made;
        try {
            made.token = get(0);  // others may have stored a new one
            if (isDue(*made.token)) {
                made.token = get(beyondLifeOf(*made.token));
            }
        } catch (const Concurrency::task_canceled&) {
            throw;
        } catch (...) {
            made.failure = std::current_exception();
        }
        return made;
    }

    bool isDue(const COIDCToken& token) const {
        return textOf(token, m_kind) == m_last
                   ? m_replaceAt.hasCome()
                   : !serves(token, m_kind, m_minValidity);  // its age is unknown
    }

    void publish(const COIDCToken& token, bool isFresh) {
        const std::string text = textOf(token, m_kind);
        // Somebody may have removed the file.
        if (text == m_last && std::filesystem::exists(m_file.path())) {
            return;
        }
        if (!isBearerToken(text)) {
            m_source->discard();
        }
        m_file.replace(m_output.fileText(token));
        m_last = text;
        const Duration life = lifeOf(token);
        m_replaceAt =
            Moment(isFresh ? ageToReplace(life, std::chrono::minutes(m_minValidity)) : Duration());
        tellServiceManager("READY=1\nSTATUS=" + m_file.path().u8string() + " is valid until " +
                           timestamp(Moment(life).system()));
    }

    /// The rest of its life.
    Duration lifeOf(const COIDCToken& token) const {
        const auto expiry = expiryOf(token, m_kind);
        return expiry ? std::chrono::duration_cast<Duration>(*expiry -
                                                             COIDCToken::TimePoint::clock::now())
                      : Duration(oldAge);
    }

    Moment afterSuccess() {
        if (m_replaceAt.hasCome()) {
            return pause("the provider's tokens have already expired when they arrive");
        }
        m_failures = 0;
        return nextLook();
    }

    /// Throws if no further attempt can help.
    Moment afterFailure(const Attempt& made) {
        if (const OIDCError known = OIDCError::of(made.failure); known.canRetry()) {
            return pause(known.what());
        }
        if (!isServing(made)) {
            std::rethrow_exception(made.failure);
        }
        // Until then only a sign-in can help.
        m_replaceAt = Moment(lifeOf(*made.token));
        tell(outcomeOf(made.failure).message + "; the last token is valid until " +
             timestamp(m_replaceAt.system()));
        return nextLook();
    }

    bool isServing(const Attempt& made) const {
        return made.token && serves(*made.token, m_kind, 0);
    }

    Moment nextLook() const {
        const Moment look(longestSleep);
        return look.system() < m_replaceAt.system() ? look : m_replaceAt;
    }

    Moment pause(const std::string& reason) {
        const Duration length = pauseAfter(++m_failures);
        tell(fmt::format("{}; trying again in {:.0f} s", reason,
                         std::chrono::duration<double>(length).count()));
        return Moment(length);
    }

    static void tell(const std::string& text) {
        const std::string line = standalone::redact(text);
        std::cerr << "oidcauth: " << line << std::endl;
        tellServiceManager("STATUS=" + line);
    }

    Watch& m_watch;
    const TokenFile m_file;
    const TokenKind m_kind;
    const unsigned int m_minValidity;
    const TokenOutput m_output;
    const std::unique_ptr<TokenSource> m_source;
    std::string m_last;  // the token in the file
    Moment m_replaceAt{Duration()};
    unsigned int m_failures = 0;  // in a row
};

void runKeep(const KeepOptions& options) {
    Watch watch;
    try {
        Keeper(options, watch).run();
    } catch (const Concurrency::task_canceled&) {
        tellServiceManager("STOPPING=1");
        if (!watch.isStopped()) {
            throw;
        }
    }
}

}  // namespace

void addKeep(CLI::App& app, std::function<void()>& chosen) {
    const auto options = std::make_shared<KeepOptions>();
    CLI::App* const command = app.add_subcommand(
        "keep",
        "Keep a fresh token in a file, for programs that read it there\n"
        "The token is replaced long before it expires: after half to two thirds of its life, "
        "depending on --min-validity. Readers see either the old file or the new one, never a "
        "partial one. While the provider cannot be reached, the request is repeated. The command "
        "runs until SIGTERM, which ends it with success, or Ctrl-C.");
    command
        ->add_option("FILE", options->file,
                     "The file to write, in an existing folder. Only this user can read the file")
        ->required()
        ->type_name("");
    options->output.addTo(*command);
    options->source.addTo(*command);
    command->footer(
        "Example: keep a request header for curl\n"
        "  oidcauth keep --output header \"$XDG_RUNTIME_DIR/files.token\" &\n"
        "  curl -H @\"$XDG_RUNTIME_DIR/files.token\" https://files.example/");
    command->callback([options, &chosen] { chosen = [options] { runKeep(*options); }; });
}

}  // namespace tool
