#pragma once

#include <cpprest/details/basic_types.h>

namespace platform {

/// Hands `url` to the user's default browser. True when that has started; nothing else of it is
/// awaited, and it outlives this process. False when nothing could be started or `url` is not one
/// of `http:` or `https:`.
///
/// On Linux the browser is one of the commands in the environment variable BROWSER: separated by
/// colons, the first that starts, each with words of its own, of which `%s` stands for the URL (it
/// comes last where none does), `%c` for a colon and `%%` for a percent sign. Without such commands
/// it is xdg-open. No shell sees the URL. On Windows it is what the user's settings name.
bool openBrowser(const utility::string_t& url) noexcept;

}  // namespace platform
