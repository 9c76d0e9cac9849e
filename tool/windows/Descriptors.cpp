#include "tool/Descriptors.h"

#include "tool/windows/HandleBuffer.h"

#include <fcntl.h>
#include <io.h>

#include <iostream>

namespace tool {

namespace {

/// Null if the stream is closed: its handle may be reused, even for a file.
HANDLE handleOf(DWORD stream) {
    const HANDLE handle = ::GetStdHandle(stream);
    ::SetLastError(NO_ERROR);
    const bool isOpen =
        handle != nullptr && handle != INVALID_HANDLE_VALUE &&
        (::GetFileType(handle) != FILE_TYPE_UNKNOWN || ::GetLastError() == NO_ERROR);
    return isOpen ? handle : nullptr;
}

/// Never destroyed: streams write until the very end of the process.
void writeTo(std::ostream& stream, DWORD number) {
    stream.rdbuf(new HandleBuffer(handleOf(number)));
}

}  // namespace

bool reserveStandardStreams() {
    for (const DWORD stream : {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE}) {
        if (handleOf(stream) == nullptr) {
            ::SetStdHandle(stream, nullptr);
        }
    }
    _setmode(0, _O_BINARY);
    writeTo(std::cout, STD_OUTPUT_HANDLE);
    writeTo(std::cerr, STD_ERROR_HANDLE);
    return true;
}

/// On Windows no write ends a process.
void surviveFailedWrites() {}

/// A program only gets the standard streams, and none of them was replaced.
void restoreInherited() {}

/// A process may open millions.
void requireDescriptors() {}

}  // namespace tool
