#include "tool/Arguments.h"

#include "host/standalone/windows/Local.h"
#include "tool/windows/Text.h"

#include <shellapi.h>

#include <new>

namespace tool {

/// The arguments of main() are in another code page, and some runtimes replace a star by file
/// names.
std::vector<std::string> argumentsOf(int /*argc*/, char** /*argv*/) {
    int count = 0;
    const standalone::detail::Local<wchar_t*> words(
        ::CommandLineToArgvW(::GetCommandLineW(), &count));
    if (!words) {
        throw std::bad_alloc();
    }
    std::vector<std::string> arguments;
    for (int i = 0; i < count; ++i) {
        arguments.push_back(utf8(words.get()[i]));
    }
    return arguments;
}

}  // namespace tool
