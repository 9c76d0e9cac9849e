#pragma once

#include <cpprest/details/basic_types.h>

namespace platform {

/// Opens `url` in the user's default browser. Returns true once the browser has been started; it is
/// not waited for, and outlives this process. Returns false if nothing could be started, or if
/// `url` is not an `http:` or `https:` URL.
///
/// On Linux the browser is one of the commands in the environment variable BROWSER: the commands
/// are separated by colons, and the first that starts is used. A command can have several words, in
/// which `%s` stands for the URL (without `%s` the URL comes last), `%c` for a colon and `%%` for a
/// percent sign. Without such commands it is xdg-open or, if that is missing, another command that
/// knows the default browser. No shell sees the URL. On Windows it is the browser in the user's
/// settings.
bool openBrowser(const utility::string_t& url) noexcept;

}  // namespace platform
